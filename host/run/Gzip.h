/// Text packed as gzip does it, by zlib.
#pragma once

#define ZLIB_CONST  // what it packs is left as it is
#include <zlib.h>

#include <string>
#include <string_view>

#include "host/outputs/Page.h"

namespace vesk::host {

/// Of the same text the same bytes each time: no date is in them.
class Gzip final : public Packing {
 public:
  Gzip();
  ~Gzip() override;

  using Packing::append;
  void append(std::string_view text) override;
  std::string take() override;

 private:
  void pack(std::string_view text, int flush);

  z_stream _stream{};
  std::string _packed;
};

}  // namespace vesk::host

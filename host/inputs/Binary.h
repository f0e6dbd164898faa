/// Reports as they are, one behind another: what reading a device file gives.
#pragma once

#include "host/inputs/Input.h"

namespace vesk::host {

/// Nothing stands between the reports, so the ID of each says how long it is; the text of a version
/// report ends with its NUL. Bytes of zero behind a report are padding: 0 is nobody's ID.
class Binary final : public Input {
 public:
  Binary(Bytes& bytes, const InputContext& context) : _bytes(bytes), _known(context.known) {}
  Item next() override;

 private:
  bool passPadding();
  std::size_t textReportSize();
  Item unknown(std::uint8_t id);

  Bytes& _bytes;
  const KnownReports& _known;
  std::size_t _reportSize = 0;  // of the report handed out last
  bool _ended = false;
};

}  // namespace vesk::host

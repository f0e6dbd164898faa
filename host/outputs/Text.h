/// Text: what the plug-in itself prints.
#pragma once

#include "host/outputs/Output.h"

namespace vesk::host {

class TextOutput final : public DecodingOutput {
 public:
  explicit TextOutput(const OutputContext& context)
      : DecodingOutput(context), _sink(context.sink), _headers(context.headers) {}

  void beginFile(std::string_view name) override { _file = name; }

 private:
  bool tellsDirection() const override { return true; }
  void writeChecked(const Report& report, const ReportInfo& info) override;
  void writeHeader(const Report& report, const ReportInfo& info);

  Sink& _sink;
  Headers _headers;
  std::string _file;
};

}  // namespace vesk::host

/// Text: what the plug-in itself prints.
#pragma once

#include "host/outputs/Output.h"

namespace vesk::host {

class TextOutput final : public DecodingOutput {
 public:
  enum class Headers : std::uint8_t { None, Plain, Coloured };

  TextOutput(Plugin& plugin, const KnownReports& known, Sink& sink, Headers headers)
      : DecodingOutput(plugin, known), _sink(sink), _headers(headers) {}

  void beginFile(std::string_view name) override { _file = name; }

 private:
  void writeChecked(const Report& report, const ReportInfo& info) override;
  void writeHeader(const Report& report, const ReportInfo& info);

  Sink& _sink;
  Headers _headers;
  std::string _file;
};

}  // namespace vesk::host

/// A record of the JSON output: what records of every kind have in common.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/Plugin.h"
#include "host/Report.h"
#include "host/outputs/JsonWriter.h"
#include "host/outputs/Numbers.h"
#include "host/outputs/Output.h"
#include "host/outputs/Utf8.h"

namespace vesk::host {

/// A record, and a handler for Decoded::visit() that puts a value into it.
class JsonRecord final : public JsonWriter {
 public:
  void nil() { null(); }
  void dictionaryBegin() { beginObject(); }
  void dictionaryEnd() { endObject(); }

  using JsonWriter::number;
  void number(const vesk_number& number) {
    if (number.kind == VESK_BOOL)
      boolean(number.value.u != 0);
    else
      withValue(number, [this](auto value) { JsonWriter::number(value); });
  }

  using JsonWriter::array;
  void array(std::int32_t kind, const void* values, std::size_t count) {
    withValues(kind, values, count, [this](auto numbers) { JsonWriter::array(numbers); });
  }

  void timeMember(std::optional<std::int64_t> microseconds) {
    if (!microseconds) return;
    key("time");
    raw(secondsText(*microseconds));
  }

  /// The members of this record, for raw() in another one.
  std::string members() const { return std::string(text().substr(1, text().size() - 2)); }

  /// Those that tell a file.
  static std::string fileMembers(std::string_view name) {
    JsonRecord file;
    file.beginObject();
    file.member("file", asUtf8(name));
    file.endObject();
    return file.members();
  }

  /// How every record begins. `file` are the members that tell the file.
  void header(std::string_view file, const Place& place, const std::optional<UsbSender>& sender) {
    member("format_version", 1u);
    sourceMember(file, place, sender);
  }

  void sourceMember(std::string_view file, const Place& place,
                    const std::optional<UsbSender>& sender) {
    key("source");
    beginObject();
    raw(file);
    switch (place.unit) {
      case Place::Unit::File:
        break;
      case Place::Unit::Line:
        member("line", place.number);
        break;
      case Place::Unit::Packet:
        member("packet", place.number);
        break;
      case Place::Unit::Offset:
        member("offset", place.number);
        break;
    }
    senderMembers(sender);
    endObject();
  }

  void senderMembers(const std::optional<UsbSender>& sender) {
    if (!sender) return;
    member("bus", sender->bus);
    member("device", sender->device);
    member("endpoint", sender->endpointNumber());
  }

  void linesMember(const Decoded& lines) {
    key("lines");
    beginArray();
    lines.visit(*this);
    endArray();
  }
};

}  // namespace vesk::host

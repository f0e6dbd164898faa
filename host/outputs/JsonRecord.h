/// A record of the JSON output: what records of every kind have in common.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/Kinds.h"
#include "host/Plugin.h"
#include "host/Report.h"
#include "host/outputs/Output.h"
#include "host/writing/JsonWriter.h"
#include "host/writing/Utf8.h"

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
  template <class Found>
  void header(std::string_view file, const Found& found) {
    member("format_version", 1u);
    sourceMember(file, found.place, found.sender, found.device);
  }

  /// `device` is null but for what a live device sent.
  void sourceMember(std::string_view file, const Place& place,
                    const std::optional<UsbSender>& sender, const HidDevice* device) {
    key("source");
    beginObject();
    raw(file);
    if (place.unit != Place::Unit::File) member(nameOf(place.unit), place.number);
    senderMembers(sender);
    if (device != nullptr) deviceMembers(*device);
    endObject();
  }

  void deviceMembers(const HidDevice& device) {
    member("product", asUtf8(device.name));
    member("vendor_id", device.vendor);
    member("product_id", device.product);
    member("serial", asUtf8(device.serial));
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

// Black box full report, 0xE1 and 0xEA: ID, number of events and event counters of every module.

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "plugin/vesk_plugin.h"
#include "reports/blackbox/catalogue.h"
#include "reports/decoder.h"

namespace vesk {

namespace {

using namespace blackbox;

/// A module's record. The layout is fixed: the number of events is shown, and steers nothing.
template <std::size_t events>
struct Record {
  u16 module_id;
  u16 number_of_events;
  u32 counter[events];
};

struct FullReport {
  u8 id;
  u16 module_count;
  Modules<Record> modules;
};
static_assert(sizeof(FullReport) == layoutSize("parseBlackBoxFullReport"));
static_assert(offsetof(FullReport, modules.black_box) == 3);
static_assert(offsetof(FullReport, modules.pse) == 27);
static_assert(offsetof(FullReport, modules.open_short_test) == 71);
static_assert(offsetof(FullReport, modules.scan_logger) == 99);
static_assert(offsetof(FullReport, modules.svc_smgr) == 107);
static_assert(offsetof(FullReport, modules.blob) == 127);
static_assert(offsetof(FullReport, modules.hidspi_master) == 415);
static_assert(offsetof(FullReport, modules.algs) == 487);
static_assert(offsetof(FullReport, modules.sys) == 771);
static_assert(offsetof(FullReport, modules.zub) == 783);
static_assert(offsetof(FullReport, modules.hidspi_slave) == 827);
static_assert(offsetof(FullReport, modules.otp) == 935);
static_assert(offsetof(FullReport, modules.pmgr) == 951);
static_assert(offsetof(FullReport, modules.last_blob) == 959);

// ------------------------------------------------------------------------------------------ text

/// Four lines on top; then of each module two, those of its events and an empty one.
constexpr std::size_t kLines = 4 + kEvents + 3 * kModules;
static_assert(kLines == 295);

/// Room for them: no line is longer than a label and a number can be, unless a host gave a blob a
/// long name.
constexpr std::size_t kCharacters = kLines * (format::maximumSize<"%s%i", Label, u32>() + 1);

LineList lines(const FullReport& r) {
  LineList out(kLines, kCharacters);
  out.add(line<"---Black Box Full Report---">(),
          line<"">(),
          line<"%40s: %i">("Module Count", r.module_count),
          line<"">());
  // The counters are unsigned, but %i reads them as signed: hosts compare this text.
  visitNamed(r.modules, [&out](const auto& module, const auto& record, std::size_t) {
    out.add(line<"%s0x%04X">(module.moduleID, record.module_id),
            line<"%s%i">(module.numberOfEvents, record.number_of_events),
            each<"%s%i">(module.event, record.counter),
            line<"">());
  });
  visitBlobs(r.modules, [&out](std::size_t row, const auto& record, std::size_t) {
    out.add(line<"%30s Module ID: 0x%04X">(blob_names[row], record.module_id),
            line<"%40s: %i">("BLOB # Events", record.number_of_events),
            each<"%s%i">(kBlobEvents, record.counter),
            line<"">());
  });
  return out;
}

// ---------------------------------------------------------------------------------------- object
//
// The values of the object are the report as it came; only its shape has to be made: the keys of
// the named modules from the catalogue, those of the blobs from blob_names.

constexpr std::size_t kBlobKeys = kBlobs * kBlobTails.size();

/// The number of modules; of each module its ID, its number of events (but for PMGR) and its events.
constexpr std::size_t kKeys = 1 + 2 * kModules - 1 + kEvents;

using Fields = std::array<Shape::Field, kKeys>;

/// The fields of the object, in the order in which the text shows the modules. `blobKeys` are the
/// keys of the blobs, row by row.
template <class Key>
constexpr Fields makeFields(const std::array<Key, kBlobKeys>& blobKeys) {
  Fields fields;
  std::size_t count = 0;
  const auto add = [&](std::string_view key, Kind kind, std::size_t offset) {
    fields[count++] = {key, Shape::Category::Number, kind, 1, static_cast<std::uint32_t>(offset)};
  };
  // The parts of a record stand at the same offsets whatever the number of its events.
  using AnyRecord = Record<1>;
  constexpr Modules<Record> modules{};
  constexpr std::size_t begin = offsetof(FullReport, modules);
  add("MODULE_COUNT", Kind::UnsignedShort, offsetof(FullReport, module_count));
  visitNamed(modules, [&](const auto& module, const auto&, std::size_t offset) {
    const std::size_t record = begin + offset;
    add(module.moduleIDKey.view(), Kind::UnsignedShort, record + offsetof(AnyRecord, module_id));
    // Of PMGR, the number of events is shown in the text only.
    if (module.name != "PMGR")
      add(module.numberOfEventsKey.view(),
          Kind::UnsignedShort,
          record + offsetof(AnyRecord, number_of_events));
    for (std::size_t i = 0; i < module.kEvents; ++i)
      add(module.event[i].name(),
          Kind::UnsignedInt,
          record + offsetof(AnyRecord, counter) + i * sizeof(u32));
  });
  visitBlobs(modules, [&](std::size_t row, const auto&, std::size_t offset) {
    const std::size_t record = begin + offset;
    const Key* const key = &blobKeys[row * kBlobTails.size()];
    add(key[0], Kind::UnsignedShort, record + offsetof(AnyRecord, module_id));
    add(key[1], Kind::UnsignedShort, record + offsetof(AnyRecord, number_of_events));
    for (std::size_t i = 0; i < kBlobEvents.size(); ++i)
      add(key[2 + i], Kind::UnsignedInt, record + offsetof(AnyRecord, counter) + i * sizeof(u32));
  });
  return fields;
}

constexpr auto makeBlobKeyTexts() {
  std::array<format::Text<64>, kBlobKeys> keys;
  for (std::size_t i = 0; i < kBlobKeys; ++i)
    keys[i] = {kBlobNames[i / kBlobTails.size()], kBlobTails[i % kBlobTails.size()]};
  return keys;
}

constexpr auto kBlobKeyTexts = makeBlobKeyTexts();

constexpr auto viewBlobKeys() {
  std::array<std::string_view, kBlobKeys> views;
  std::ranges::transform(kBlobKeyTexts, views.begin(), [](const auto& key) { return key.view(); });
  return views;
}

constexpr Fields kFields = makeFields(viewBlobKeys());

constexpr auto kSlots = [] {
  std::array<std::uint16_t, slotsFor(kKeys)> slots{};
  enterKeys(kFields, slots);
  return slots;
}();

constexpr Shape kShape{kFields, kSlots};

/// The shape for a host that changed blob_names: it owns its keys.
struct RenamedShape {
  std::array<std::string, kBlobKeys> blobKeys;
  std::vector<Shape::Field> fields;
  std::vector<std::uint16_t> slots;
  Shape shape;

  RenamedShape() {
    for (std::size_t i = 0; i < kBlobKeys; ++i) {
      const char* const name = blob_names[i / kBlobTails.size()];
      blobKeys[i] = format::string<"%s%s">(name, kBlobTails[i % kBlobTails.size()]);
    }
    for (const Shape::Field& field : makeFields(blobKeys)) {
      // A name that stands twice: as in any dictionary, the later value stays.
      const auto same = std::ranges::find(fields, field.key, &Shape::Field::key);
      if (same == fields.end())
        fields.push_back(field);
      else
        *same = field;
    }
    slots.resize(slotsFor(fields.size()));
    enterKeys(fields, slots);
    shape = {fields, slots};
  }
};

ReportObject objectOf(const Shape* shape, std::shared_ptr<const void> owner, const FullReport& r) {
  ReportObject object(shape, sizeof r, std::move(owner));
  copyBlock(object.block(), &r, sizeof r);
  return object;
}

ReportObject object(const FullReport& r) {
  // By address: a host that changed a row gets its own shape, whatever the row now says.
  const auto isOurs = [](const char* name, const auto& ours) { return name == &ours[0]; };
  if (std::ranges::equal(blob_names, kBlobNames, isOurs)) return objectOf(&kShape, nullptr, r);
  const auto renamed = std::make_shared<const RenamedShape>();
  return objectOf(&renamed->shape, renamed, r);
}

}  // namespace

Result HIDReportVeskPlugin::parseBlackBoxFullReport() {
  const auto& report = view<FullReport>(report_buf());
  if (useStrings()) return lines(report);
  return object(report);
}

}  // namespace vesk

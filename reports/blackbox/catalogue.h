/// The vocabulary of the black box reports: the firmware's 22 modules, their two orders and the
/// names of their events. All of it is constant data.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "plugin/blob_names.h"
#include "text/format.h"

namespace vesk::blackbox {

/// A name as the beginning of a line: right-aligned in 40 columns (longer if the name is), a colon
/// and a blank.
struct Label : format::Text<48> {
  static constexpr std::size_t kColumns = 40;

  constexpr Label() = default;
  constexpr explicit Label(std::string_view name)
      : Text(format::Text<48>(name, kColumns).view(), ": ") {}
  constexpr Label(std::string_view first, std::string_view second)
      : Label(format::Text<48>(first, second).view()) {}

  constexpr std::string_view name() const {
    const std::size_t begin = view().find_first_not_of(' ');
    return view().substr(begin, view().size() - 2 - begin);
  }
};

/// A module with a name and events of its own. Event k is counter k of the module's record in the
/// full report and option byte k in the configuration.
template <std::size_t count>
struct Module {
  static constexpr std::size_t kEvents = count;

  std::string_view name;
  std::array<Label, count> event;
  Label moduleID;                      // "PSE Module ID"
  Label numberOfEvents;                // "PSE # Events"
  format::Text<48> moduleIDKey;        // "PSE_MODULE_ID"
  format::Text<48> numberOfEventsKey;  // "PSE_NUM_EVENTS"

  constexpr Module(std::string_view moduleName, const std::array<Label, count>& events)
      : name(moduleName),
        event(events),
        moduleID(moduleName, " Module ID"),
        numberOfEvents(moduleName, " # Events"),
        moduleIDKey(moduleName, "_MODULE_ID"),
        numberOfEventsKey(moduleName, "_NUM_EVENTS") {}
};

namespace detail {

template <class... Name>
constexpr std::array<Label, sizeof...(Name)> labels(const Name&... name) {
  return {Label(name)...};
}

inline constexpr std::string_view kHidSpiTails[] = {
    "_EVENT_ACK_SENT",
    "_EVENT_NAK_SENT",
    "_EVENT_BUSY_SENT",
    "_EVENT_ERR_SENT",
    "_EVENT_ACK_RECEIVED",
    "_EVENT_NAK_RECEIVED",
    "_EVENT_BUSY_RECEIVED",
    "_EVENT_ERR_RECEIVED",
    "_EVENT_INVALID_ACK_RECEIVED",
    "_EVENT_TRANSFER_INVALID_CRC",
    "_EVENT_TRANSFER_INVALID_LEN",
    "_EVENT_TRANSFER_INVALID_TYPE",
    "_EVENT_TRANSFER_INVALID_IFACE_ID",
    "_EVENT_TRANSFER_RECEIVED",
    "_EVENT_TRANSFER_SENT",
    "_EVENT_TRANSFER_RETRY",
};

/// The sixteen events that both ends of the HID SPI have, then those of one end.
template <class... Name>
constexpr std::array<Label, 16 + sizeof...(Name)> hidSpi(std::string_view module,
                                                         const Name&... own) {
  std::array<Label, 16 + sizeof...(Name)> events;
  std::size_t i = 0;
  for (const std::string_view tail : kHidSpiTails) events[i++] = Label(module, tail);
  ((events[i++] = Label(own)), ...);
  return events;
}

constexpr std::array<Label, 70> algs() {
  std::array<Label, 70> events;
  std::size_t i = 0;
  const auto add = [&](std::string_view name) { events[i++] = Label(name); };
  const auto addNumbered = [&](std::string_view name, unsigned count) {
    for (unsigned n = 0; n < count; ++n) {
      const char digits[2] = {static_cast<char>('0' + n / 10), static_cast<char>('0' + n % 10)};
      const std::string_view number(digits, 2);
      events[i++] = Label(name, n < 10 ? number.substr(1) : number);
    }
  };
  add("ALGS_EVENT_VESK_ITEM_TIMEOUT");
  add("ALGS_EVENT_TOUCH_DEADLINE_EXPIRED");
  add("ALGS_EVENT_FRAME_MISMATCH");
  add("ALGS_EVENT_MAX_MISSED_TRACKED_TOUCH");
  add("ALGS_EVENT_DISCARDED_PATH");
  add("ALGS_EVENT_PIXEL_NOISE_RUN_CNT");
  add("ALGS_EVENT_PIXEL_NOISE_VALID_CNT");
  add("ALGS_EVENT_PIXEL_NOISE_INVALID_CNT");
  add("ALGS_EVENT_PIXEL_NOISE_BAD_CH_CNT");
  addNumbered("ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_", 5);
  addNumbered("ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_", 5);
  // Only the histogram behind the hysteresis has ranges.
  add("ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_5_10");
  add("ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_11_20");
  add("ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N");
  addNumbered("ALGS_EVENT_PIXEL_NOISE_CNT_CH_", 48);
  return events;
}

}  // namespace detail

// -------------------------------------------------------------------------------- named modules

inline constexpr Module<5> kBlackBox{"BLACK_BOX",
                                     detail::labels("BLACK_BOX_EVENT_UNKNOWN",        //
                                                    "BLACK_BOX_EVENT_BAD_MODULE_ID",  //
                                                    "BLACK_BOX_EVENT_BAD_EVENT_ID",   //
                                                    "BLACK_BOX_EVENT_BAD_BUFFER_SZ",  //
                                                    "BLACK_BOX_EVENT_THROW_EXTERNAL")};

inline constexpr Module<10> kPse{"PSE",
                                 detail::labels("PSE_EVENT_AFE_LDO_FAULT",  //
                                                "PSE_EVENT_FS_PPM_LDO",     //
                                                "PSE_EVENT_AFE_BROWNOUT",   //
                                                "PSE_EVENT_FS_TX_PUP",      //
                                                "PSE_EVENT_FS_LDO_PUP",     //
                                                "PSE_EVENT_FS_LDO_2V5",     //
                                                "PSE_EVENT_FS_LDO_5V6",     //
                                                "PSE_EVENT_FS_IDAC_SWING",  //
                                                "PSE_EVENT_FS_DIG_ISO",     //
                                                "PSE_EVENT_FS_IDAC_PUP")};

/// Its events do not begin with its name.
inline constexpr Module<6> kOpenShortTest{"OPEN_SHORT_TEST",
                                          detail::labels("OPEN_SHORT_EVENT_UNKNOWN",       //
                                                         "OPEN_SHORT_EVENT_DOUBLE_SHORT",  //
                                                         "OPEN_SHORT_EVENT_SINGLE_SHORT",  //
                                                         "OPEN_SHORT_EVENT_DOUBLE_OPEN",   //
                                                         "OPEN_SHORT_EVENT_SINGLE_OPEN",   //
                                                         "OPEN_SHORT_EVENT_WEAK_OS")};

inline constexpr Module<1> kScanLogger{"SCAN_LOGGER",
                                       detail::labels("SCAN_LOGGER_EVENT_FAILED_IMAGE_ALLOC")};

inline constexpr Module<4> kSvcSmgr{"SVC_SMGR",
                                    detail::labels("SVC_SMGR_EVENT_FRAME_TRIG_ERR",       //
                                                   "SVC_SMGR_EVENT_SCANITEM_Q_ERR",       //
                                                   "SVC_SMGR_EVENT_PRODUCT_HANDLER_ERR",  //
                                                   "SVC_SMGR_EVENT_FRAME_TRIG_NOT_READY")};

inline constexpr Module<17> kHidSpiMaster{
    "HIDSPI_MASTER", detail::hidSpi("HIDSPI_MASTER", "HIDSPI_MASTER_EVENT_KELMORA_MISSING")};

inline constexpr Module<26> kHidSpiSlave{"HIDSPI_SLAVE",
                                         detail::hidSpi("HIDSPI_SLAVE",                           //
                                                        "HIDSPI_SLAVE_EVENT_SPI_CS_ACTIVATED",    //
                                                        "HIDSPI_SLAVE_EVENT_SPI_CS_DEACTIVATED",  //
                                                        "HIDSPI_SLAVE_EVENT_SPI_DATA_LOST",       //
                                                        "HIDSPI_SLAVE_EVENT_SPI_MODE_FAULT",      //
                                                        "HIDSPI_SLAVE_EVENT_SPI_XFER_COMPLETE",   //
                                                        "HIDSPI_SLAVE_EVENT_SPI_XFER_ABORTED",    //
                                                        "HIDSPI_SLAVE_EVENT_BUS_PRESLEEP",        //
                                                        "HIDSPI_SLAVE_EVENT_BUS_SLEEP",           //
                                                        "HIDSPI_SLAVE_EVENT_BUS_RESUME",          //
                                                        "HIDSPI_SLAVE_EVENT_BUS_DETACH")};

inline constexpr Module<70> kAlgs{"ALGS", detail::algs()};

inline constexpr Module<2> kSys{
    "SYS", detail::labels("SYS_EVENT_BSYNC_MISSING", "SYS_EVENT_MISSED_HSPI_CS_EDGE")};

inline constexpr Module<10> kZub{"ZUB",
                                 detail::labels("ZUB_EVENT_DOWNSTREAM_DEVICE_ABSENT",  //
                                                "ZUB_EVENT_DEV_ATTACH_RETRY",          //
                                                "ZUB_EVENT_TPT_TX_ERROR_COUNT",        //
                                                "ZUB_EVENT_VESK_TX_ERROR_COUNT",       //
                                                "ZUB_EVENT_SYSTEM_TX_ERROR_COUNT",     //
                                                "ZUB_EVENT_TPT_TOUCH_RX_COUNT",        //
                                                "ZUB_EVENT_TPT_ZUB_RX_COUNT",          //
                                                "ZUB_EVENT_VESK_RX_COUNT",             //
                                                "ZUB_EVENT_VESK_TX_COUNT",             //
                                                "ZUB_EVENT_TOUCH_ATTACH_TIMEOUT")};

inline constexpr Module<3> kOtp{"OTP",
                                detail::labels("OTP_EVENT_CHECKSUM_MISSING",  //
                                               "OTP_EVENT_POWERUP_FAILED",    //
                                               "OTP_EVENT_TRIM_MISSING")};

inline constexpr Module<1> kPmgr{"PMGR", detail::labels("PMGR_EVENT_WAKE_SRC_UNKNOWN")};

// --------------------------------------------------------------------------------- blob modules

// The firmware's data blobs: ten modules with the same seven events, named by the rows of
// blob_names.

/// The events of every blob. The text does not name the blob; the keys do (kBlobTails).
inline constexpr std::array<Label, 7> kBlobEvents =
    detail::labels("BLOB_EVENT_GOOD_BLOB",                   //
                   "BLOB_EVENT_BAD_MAGIC",                   //
                   "BLOB_EVENT_BAD_CHECKSUM",                //
                   "BLOB_EVENT_UNSUPPORTED_HEADER_VERSION",  //
                   "BLOB_EVENT_OLD_VERSION",                 //
                   "BLOB_EVENT_BAD_VERSION",                 //
                   "BLOB_EVENT_DEFAULT");

/// The keys of a blob's fields in the order of its record, without the blob's name before them.
inline constexpr auto kBlobTails = [] {
  std::array<std::string_view, 2 + kBlobEvents.size()> tails{"_MODULE_ID", "_NUM_EVENTS"};
  for (std::size_t i = 0; i < kBlobEvents.size(); ++i)
    tails[2 + i] = kBlobEvents[i].name().substr(std::string_view("BLOB").size());
  return tails;
}();

// ---------------------------------------------------------------------------------- the two orders

/// The firmware's order, the one of the wire: something for each module, `Of<n>` for a module of n
/// events. The last blob stands apart from the others.
template <template <std::size_t> class Of>
struct Modules {
  Of<kBlackBox.kEvents> black_box;
  Of<kPse.kEvents> pse;
  Of<kOpenShortTest.kEvents> open_short_test;
  Of<kScanLogger.kEvents> scan_logger;
  Of<kSvcSmgr.kEvents> svc_smgr;
  Of<kBlobEvents.size()> blob[kBlobs - 1];
  Of<kHidSpiMaster.kEvents> hidspi_master;
  Of<kAlgs.kEvents> algs;
  Of<kSys.kEvents> sys;
  Of<kZub.kEvents> zub;
  Of<kHidSpiSlave.kEvents> hidspi_slave;
  Of<kOtp.kEvents> otp;
  Of<kPmgr.kEvents> pmgr;
  Of<kBlobEvents.size()> last_blob;
};

namespace detail {

/// A byte for each module, and a byte for each event.
template <std::size_t>
struct ByteOfModule {
  std::byte byte;
};

template <std::size_t events>
struct BytesOfEvents {
  std::byte byte[events];
};

}  // namespace detail

/// How many there are in all, the blobs and theirs included.
inline constexpr std::size_t kModules = sizeof(Modules<detail::ByteOfModule>);
inline constexpr std::size_t kEvents = sizeof(Modules<detail::BytesOfEvents>);
static_assert(kModules == 22 && kEvents == 225);

/// The order in which the named modules are shown: calls visit(module, what `modules` has for it,
/// the offset of that in `modules`).
template <template <std::size_t> class Of, class Visit>
constexpr void visitNamed(const Modules<Of>& modules, const Visit& visit) {
  using M = Modules<Of>;
  visit(kBlackBox, modules.black_box, offsetof(M, black_box));
  visit(kPse, modules.pse, offsetof(M, pse));
  visit(kOpenShortTest, modules.open_short_test, offsetof(M, open_short_test));
  visit(kScanLogger, modules.scan_logger, offsetof(M, scan_logger));
  visit(kSvcSmgr, modules.svc_smgr, offsetof(M, svc_smgr));
  visit(kHidSpiMaster, modules.hidspi_master, offsetof(M, hidspi_master));
  visit(kHidSpiSlave, modules.hidspi_slave, offsetof(M, hidspi_slave));
  visit(kAlgs, modules.algs, offsetof(M, algs));
  visit(kSys, modules.sys, offsetof(M, sys));
  visit(kZub, modules.zub, offsetof(M, zub));
  visit(kOtp, modules.otp, offsetof(M, otp));
  visit(kPmgr, modules.pmgr, offsetof(M, pmgr));
}

/// Behind them, the blobs by row: calls visit(row, what `modules` has for it, its offset).
template <template <std::size_t> class Of, class Visit>
constexpr void visitBlobs(const Modules<Of>& modules, const Visit& visit) {
  using M = Modules<Of>;
  for (std::size_t row = 0; row < kBlobs - 1; ++row)
    visit(row, modules.blob[row], offsetof(M, blob) + row * sizeof modules.blob[row]);
  visit(kBlobs - 1, modules.last_blob, offsetof(M, last_blob));
}

}  // namespace vesk::blackbox

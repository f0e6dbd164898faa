/// The modules of the black box reports, written out name by name, in the order in which they are
/// shown.
#pragma once

#include <span>

namespace reference {

struct Module {
  const char* name;
  const char* moduleIDLabel;
  const char* numberOfEventsLabel;
  const char* moduleIDKey;
  const char* numberOfEventsKey;
  std::span<const char* const> events;
  int record;   // offset of its record in the full report
  int options;  // offset of its option bytes in the configuration
};

inline constexpr const char* kBlackBoxEvents[] = {
    "BLACK_BOX_EVENT_UNKNOWN",
    "BLACK_BOX_EVENT_BAD_MODULE_ID",
    "BLACK_BOX_EVENT_BAD_EVENT_ID",
    "BLACK_BOX_EVENT_BAD_BUFFER_SZ",
    "BLACK_BOX_EVENT_THROW_EXTERNAL",
};

inline constexpr const char* kPseEvents[] = {
    "PSE_EVENT_AFE_LDO_FAULT",
    "PSE_EVENT_FS_PPM_LDO",
    "PSE_EVENT_AFE_BROWNOUT",
    "PSE_EVENT_FS_TX_PUP",
    "PSE_EVENT_FS_LDO_PUP",
    "PSE_EVENT_FS_LDO_2V5",
    "PSE_EVENT_FS_LDO_5V6",
    "PSE_EVENT_FS_IDAC_SWING",
    "PSE_EVENT_FS_DIG_ISO",
    "PSE_EVENT_FS_IDAC_PUP",
};

inline constexpr const char* kOpenShortTestEvents[] = {
    "OPEN_SHORT_EVENT_UNKNOWN",
    "OPEN_SHORT_EVENT_DOUBLE_SHORT",
    "OPEN_SHORT_EVENT_SINGLE_SHORT",
    "OPEN_SHORT_EVENT_DOUBLE_OPEN",
    "OPEN_SHORT_EVENT_SINGLE_OPEN",
    "OPEN_SHORT_EVENT_WEAK_OS",
};

inline constexpr const char* kScanLoggerEvents[] = {
    "SCAN_LOGGER_EVENT_FAILED_IMAGE_ALLOC",
};

inline constexpr const char* kSvcSmgrEvents[] = {
    "SVC_SMGR_EVENT_FRAME_TRIG_ERR",
    "SVC_SMGR_EVENT_SCANITEM_Q_ERR",
    "SVC_SMGR_EVENT_PRODUCT_HANDLER_ERR",
    "SVC_SMGR_EVENT_FRAME_TRIG_NOT_READY",
};

inline constexpr const char* kHidspiMasterEvents[] = {
    "HIDSPI_MASTER_EVENT_ACK_SENT",
    "HIDSPI_MASTER_EVENT_NAK_SENT",
    "HIDSPI_MASTER_EVENT_BUSY_SENT",
    "HIDSPI_MASTER_EVENT_ERR_SENT",
    "HIDSPI_MASTER_EVENT_ACK_RECEIVED",
    "HIDSPI_MASTER_EVENT_NAK_RECEIVED",
    "HIDSPI_MASTER_EVENT_BUSY_RECEIVED",
    "HIDSPI_MASTER_EVENT_ERR_RECEIVED",
    "HIDSPI_MASTER_EVENT_INVALID_ACK_RECEIVED",
    "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_CRC",
    "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_LEN",
    "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_TYPE",
    "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_IFACE_ID",
    "HIDSPI_MASTER_EVENT_TRANSFER_RECEIVED",
    "HIDSPI_MASTER_EVENT_TRANSFER_SENT",
    "HIDSPI_MASTER_EVENT_TRANSFER_RETRY",
    "HIDSPI_MASTER_EVENT_KELMORA_MISSING",
};

inline constexpr const char* kHidspiSlaveEvents[] = {
    "HIDSPI_SLAVE_EVENT_ACK_SENT",
    "HIDSPI_SLAVE_EVENT_NAK_SENT",
    "HIDSPI_SLAVE_EVENT_BUSY_SENT",
    "HIDSPI_SLAVE_EVENT_ERR_SENT",
    "HIDSPI_SLAVE_EVENT_ACK_RECEIVED",
    "HIDSPI_SLAVE_EVENT_NAK_RECEIVED",
    "HIDSPI_SLAVE_EVENT_BUSY_RECEIVED",
    "HIDSPI_SLAVE_EVENT_ERR_RECEIVED",
    "HIDSPI_SLAVE_EVENT_INVALID_ACK_RECEIVED",
    "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_CRC",
    "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_LEN",
    "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_TYPE",
    "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_IFACE_ID",
    "HIDSPI_SLAVE_EVENT_TRANSFER_RECEIVED",
    "HIDSPI_SLAVE_EVENT_TRANSFER_SENT",
    "HIDSPI_SLAVE_EVENT_TRANSFER_RETRY",
    "HIDSPI_SLAVE_EVENT_SPI_CS_ACTIVATED",
    "HIDSPI_SLAVE_EVENT_SPI_CS_DEACTIVATED",
    "HIDSPI_SLAVE_EVENT_SPI_DATA_LOST",
    "HIDSPI_SLAVE_EVENT_SPI_MODE_FAULT",
    "HIDSPI_SLAVE_EVENT_SPI_XFER_COMPLETE",
    "HIDSPI_SLAVE_EVENT_SPI_XFER_ABORTED",
    "HIDSPI_SLAVE_EVENT_BUS_PRESLEEP",
    "HIDSPI_SLAVE_EVENT_BUS_SLEEP",
    "HIDSPI_SLAVE_EVENT_BUS_RESUME",
    "HIDSPI_SLAVE_EVENT_BUS_DETACH",
};

inline constexpr const char* kAlgsEvents[] = {
    "ALGS_EVENT_VESK_ITEM_TIMEOUT",
    "ALGS_EVENT_TOUCH_DEADLINE_EXPIRED",
    "ALGS_EVENT_FRAME_MISMATCH",
    "ALGS_EVENT_MAX_MISSED_TRACKED_TOUCH",
    "ALGS_EVENT_DISCARDED_PATH",
    "ALGS_EVENT_PIXEL_NOISE_RUN_CNT",
    "ALGS_EVENT_PIXEL_NOISE_VALID_CNT",
    "ALGS_EVENT_PIXEL_NOISE_INVALID_CNT",
    "ALGS_EVENT_PIXEL_NOISE_BAD_CH_CNT",
    "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_0",
    "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_1",
    "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_2",
    "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_3",
    "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_4",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_0",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_1",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_2",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_3",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_4",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_5_10",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_11_20",
    "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_0",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_1",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_2",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_3",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_4",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_5",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_6",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_7",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_8",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_9",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_10",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_11",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_12",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_13",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_14",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_15",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_16",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_17",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_18",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_19",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_20",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_21",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_22",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_23",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_24",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_25",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_26",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_27",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_28",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_29",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_30",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_31",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_32",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_33",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_34",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_35",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_36",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_37",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_38",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_39",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_40",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_41",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_42",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_43",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_44",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_45",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_46",
    "ALGS_EVENT_PIXEL_NOISE_CNT_CH_47",
};

inline constexpr const char* kSysEvents[] = {
    "SYS_EVENT_BSYNC_MISSING",
    "SYS_EVENT_MISSED_HSPI_CS_EDGE",
};

inline constexpr const char* kZubEvents[] = {
    "ZUB_EVENT_DOWNSTREAM_DEVICE_ABSENT",
    "ZUB_EVENT_DEV_ATTACH_RETRY",
    "ZUB_EVENT_TPT_TX_ERROR_COUNT",
    "ZUB_EVENT_VESK_TX_ERROR_COUNT",
    "ZUB_EVENT_SYSTEM_TX_ERROR_COUNT",
    "ZUB_EVENT_TPT_TOUCH_RX_COUNT",
    "ZUB_EVENT_TPT_ZUB_RX_COUNT",
    "ZUB_EVENT_VESK_RX_COUNT",
    "ZUB_EVENT_VESK_TX_COUNT",
    "ZUB_EVENT_TOUCH_ATTACH_TIMEOUT",
};

inline constexpr const char* kOtpEvents[] = {
    "OTP_EVENT_CHECKSUM_MISSING",
    "OTP_EVENT_POWERUP_FAILED",
    "OTP_EVENT_TRIM_MISSING",
};

inline constexpr const char* kPmgrEvents[] = {
    "PMGR_EVENT_WAKE_SRC_UNKNOWN",
};

inline constexpr Module kModules[] = {
    {"BLACK_BOX",
     "BLACK_BOX Module ID",
     "BLACK_BOX # Events",
     "BLACK_BOX_MODULE_ID",
     "BLACK_BOX_NUM_EVENTS",
     kBlackBoxEvents,
     3,
     7},
    {"PSE", "PSE Module ID", "PSE # Events", "PSE_MODULE_ID", "PSE_NUM_EVENTS", kPseEvents, 27, 12},
    {"OPEN_SHORT_TEST",
     "OPEN_SHORT_TEST Module ID",
     "OPEN_SHORT_TEST # Events",
     "OPEN_SHORT_TEST_MODULE_ID",
     "OPEN_SHORT_TEST_NUM_EVENTS",
     kOpenShortTestEvents,
     71,
     22},
    {"SCAN_LOGGER",
     "SCAN_LOGGER Module ID",
     "SCAN_LOGGER # Events",
     "SCAN_LOGGER_MODULE_ID",
     "SCAN_LOGGER_NUM_EVENTS",
     kScanLoggerEvents,
     99,
     28},
    {"SVC_SMGR",
     "SVC_SMGR Module ID",
     "SVC_SMGR # Events",
     "SVC_SMGR_MODULE_ID",
     "SVC_SMGR_NUM_EVENTS",
     kSvcSmgrEvents,
     107,
     29},
    {"HIDSPI_MASTER",
     "HIDSPI_MASTER Module ID",
     "HIDSPI_MASTER # Events",
     "HIDSPI_MASTER_MODULE_ID",
     "HIDSPI_MASTER_NUM_EVENTS",
     kHidspiMasterEvents,
     415,
     96},
    {"HIDSPI_SLAVE",
     "HIDSPI_SLAVE Module ID",
     "HIDSPI_SLAVE # Events",
     "HIDSPI_SLAVE_MODULE_ID",
     "HIDSPI_SLAVE_NUM_EVENTS",
     kHidspiSlaveEvents,
     827,
     195},
    {"ALGS",
     "ALGS Module ID",
     "ALGS # Events",
     "ALGS_MODULE_ID",
     "ALGS_NUM_EVENTS",
     kAlgsEvents,
     487,
     113},
    {"SYS",
     "SYS Module ID",
     "SYS # Events",
     "SYS_MODULE_ID",
     "SYS_NUM_EVENTS",
     kSysEvents,
     771,
     183},
    {"ZUB",
     "ZUB Module ID",
     "ZUB # Events",
     "ZUB_MODULE_ID",
     "ZUB_NUM_EVENTS",
     kZubEvents,
     783,
     185},
    {"OTP",
     "OTP Module ID",
     "OTP # Events",
     "OTP_MODULE_ID",
     "OTP_NUM_EVENTS",
     kOtpEvents,
     935,
     221},
    {"PMGR",
     "PMGR Module ID",
     "PMGR # Events",
     "PMGR_MODULE_ID",
     "PMGR_NUM_EVENTS",
     kPmgrEvents,
     951,
     224},
};

struct Blob {
  const char* name;
  int record;
  int options;
};

inline constexpr Blob kBlobs[] = {
    {"BLOB_VAFE", 127, 33},
    {"BLOB_VFCL", 159, 40},
    {"BLOB_VPMp", 191, 47},
    {"BLOB_VSGC", 223, 54},
    {"BLOB_VSSp", 255, 61},
    {"BLOB_VSSC", 287, 68},
    {"BLOB_VSRx", 319, 75},
    {"BLOB_VSPM", 351, 82},
    {"BLOB_VRTC", 383, 89},
    {"BLOB_VSFN", 959, 225},
};

inline constexpr const char* kBlobEvents[] = {
    "BLOB_EVENT_GOOD_BLOB",
    "BLOB_EVENT_BAD_MAGIC",
    "BLOB_EVENT_BAD_CHECKSUM",
    "BLOB_EVENT_UNSUPPORTED_HEADER_VERSION",
    "BLOB_EVENT_OLD_VERSION",
    "BLOB_EVENT_BAD_VERSION",
    "BLOB_EVENT_DEFAULT",
};

/// The same as keys: what follows the name of the blob.
inline constexpr const char* kBlobEventKeys[] = {
    "_EVENT_GOOD_BLOB",
    "_EVENT_BAD_MAGIC",
    "_EVENT_BAD_CHECKSUM",
    "_EVENT_UNSUPPORTED_HEADER_VERSION",
    "_EVENT_OLD_VERSION",
    "_EVENT_BAD_VERSION",
    "_EVENT_DEFAULT",
};

struct Flag {
  const char* name;
  int offset;  // in the summary
  int bit;
};

/// In the order of the summary.
inline constexpr Flag kFlags[] = {
    {"BLACK_BOX", 4, 0},    {"PSE", 4, 1},       {"OPEN_SHORT_TEST", 4, 2},
    {"SCAN_LOGGER", 4, 3},  {"SVC_SMGR", 4, 4},  {"BLOB_VAFE", 4, 5},
    {"BLOB_VFCL", 4, 6},    {"BLOB_VPMp", 4, 7}, {"BLOB_VSGC", 5, 0},
    {"BLOB_VSSp", 5, 1},    {"BLOB_VSSC", 5, 2}, {"BLOB_VSRx", 5, 3},
    {"BLOB_VSPM", 5, 4},    {"BLOB_VRTC", 5, 5}, {"HIDSPI_MASTER", 5, 6},
    {"HIDSPI_SLAVE", 6, 2}, {"ALGS", 5, 7},      {"SYS", 6, 0},
    {"ZUB", 6, 1},          {"OTP", 6, 3},       {"PMGR", 6, 4},
    {"BLOB_VSFN", 6, 5},
};

inline constexpr const char* kGlobalNames[] = {
    "Global Trace Config",
    "Global Debug Config",
    "Global Info Config",
    "Global Warning Config",
    "Global Error Config",
    "Global Critical Config",
};

inline constexpr const char* kSeverities[] = {
    "TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL"};

/// The name of a severity; null if it has none.
constexpr const char* severity(int level) { return level < 6 ? kSeverities[level] : nullptr; }

}  // namespace reference

/// The names of the firmware's data blobs, in the firmware's row order: what the rows of blob_names
/// (plugin/vesk_plugin.h) point to unless a host changes them.
#pragma once

#include <cstddef>

namespace vesk {

inline constexpr std::size_t kBlobs = 10;

inline constexpr char kBlobNames[kBlobs][10] = {
    "BLOB_VAFE",
    "BLOB_VFCL",
    "BLOB_VPMp",
    "BLOB_VSGC",
    "BLOB_VSSp",
    "BLOB_VSSC",
    "BLOB_VSRx",
    "BLOB_VSPM",
    "BLOB_VRTC",
    "BLOB_VSFN",
};

}  // namespace vesk

#include "plugin/blob_names.h"

#include "plugin/vesk_plugin.h"

using vesk::kBlobNames;

// The pointers may be written to, by hosts: no constant.
const char* blob_names[vesk::kBlobs] = {
    kBlobNames[0],
    kBlobNames[1],
    kBlobNames[2],
    kBlobNames[3],
    kBlobNames[4],
    kBlobNames[5],
    kBlobNames[6],
    kBlobNames[7],
    kBlobNames[8],
    kBlobNames[9],
};

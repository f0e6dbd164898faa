#include "reports/blackbox/catalogue.h"

// The pointers may be written to, by hosts: no constant.
const char* blob_names[10] = {
    vesk::blackbox::kBlobNames[0],
    vesk::blackbox::kBlobNames[1],
    vesk::blackbox::kBlobNames[2],
    vesk::blackbox::kBlobNames[3],
    vesk::blackbox::kBlobNames[4],
    vesk::blackbox::kBlobNames[5],
    vesk::blackbox::kBlobNames[6],
    vesk::blackbox::kBlobNames[7],
    vesk::blackbox::kBlobNames[8],
    vesk::blackbox::kBlobNames[9],
};

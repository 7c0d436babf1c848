// What the loaders of the weaving application's own files remember between tryLoad, loadBand and endLoad.
#pragma once

#include "tload.h"

// A weave as it is stored. A block whose size is 0 came from elsewhere: nobody knows how far it may be read.
struct Weave {
    u8* plane; // owned
    u64 planeBytes;
    i32* threading; // owned; the shaft of each end
    i64 threadingEnds;
    i32 mode;
    i32 width;
    i32 height;
};

// Shared by the weave file and the fabric file, which holds a weave.
struct WeaveState {
    bool isWeaveReady;
    bool isFabricReady;
    bool isOpen;
    u32 nextRow;
    Weave weave; // its size outlives the load: a file that tells none has that of the file before
};

// Shared by the loaders whose picture is read by another loader.
struct NestedState {
    bool isBusy;
    u8* image; // owned
    u64 imageBytes;
};

struct NativeState {
    WeaveState weave;
    NestedState nested;
};

// A process that reads the files of strangers gives up what reading does not need, so that a fault in a decoder stays
// without reach. For good, and for the helper programs that it runs as well.
#pragma once

#include <string>

#include "tload.h"

// What the calling process may do from now on, as far as the kernel can hold it to that: read and run everything, write
// to what it has open, make, write and remove files in its work folder, no connections, no hand on other processes.
// At most so many bytes of memory; 0 = no limit.
void confine(const std::string& workFolder, u64 mostBytes);

// Bytes that each of so many workers may take: an equal share of the computer's memory, and enough for any usual
// picture.
u64 memoryOfAWorker(int workers);

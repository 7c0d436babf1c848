// Why a file is refused, what is left out or made up of one that is not, and what is said on the way.
#pragma once

#include <cstddef>
#include <cstdio>

#include "tload.h"

constexpr size_t reasonBytes = 256;
constexpr size_t remarkBytes = 192;
constexpr i32 mostRemarks = 16;

// Grave: the picture is not what the file means.
enum class Gravity { harmless, grave };

struct Remark {
    char text[remarkBytes];
    Gravity gravity;
    const char* counted; // the phrase of a remark that counts; null for others
    u64 count;
};

struct Reasons {
    char reason[reasonBytes];
    Remark remarks[mostRemarks];
    i32 remarkCount;
};

struct Messages {
    void (*handler)(void* context, const char* message);
    void* context;
};

// Keeps the reason, a phrase as of printf without the file's name and without a full stop, and returns the status.
[[gnu::format(printf, 2, 3)]] LoadStatus refuse(LoadStatus status, const char* phrase, ...);

// What many loaders say.
LoadStatus refuseName(const char* extension); // 6: the name does not end in a dot and this
LoadStatus refuseOpening();                   // 3, with what errno tells
LoadStatus refuseMemory();                    // 2
LoadStatus refuseHeader(LoadStatus status);   // the file ends in its header
LoadStatus refuseSize(LoadStatus status, i64 width, i64 height);
LoadStatus refuseFileSize(LoadStatus status, i64 width, i64 height, i64 fileSize); // that does not fit the picture's
LoadStatus refuseUnopened();                                                       // 7: no picture is open
LoadStatus refuseRowsBehindPicture();   // 7: rows are asked for that the picture does not have
LoadStatus refuseEarlyEnd(u64 missing); // 7: the file ends so many rows before the picture does

// Tells what a picture that is delivered lacks. The same remark is kept once.
[[gnu::format(printf, 2, 3)]] void remark(Gravity gravity, const char* phrase, ...);
// A remark with a number behind it, "picks that the file lacks are clear: 3", which adds up over all calls for the same
// phrase.
void remarkCount(Gravity gravity, u64 more, const char* phrase);

// Compares the dataBytes that a header announces from the stream's position on with what the file holds, and remarks on
// more or less. Streams that are no regular files are passed over.
void remarkFileSize(FILE* stream, u64 dataBytes, u64 width, u64 height);

// An amount for people: bytes, KB or MB.
struct Amount {
    char text[32];
};
Amount amountOf(u64 bytes);

// Prints to a standard stream, or hands the text without its line end to the host's handler.
[[gnu::format(printf, 2, 3)]] void tell(FILE* stream, const char* text, ...);

// Around the calls of a loader: forget what the one before left; drop a reason that was not one in the end.
void beginLoad(Reasons& reasons);
void beginBand(Reasons& reasons);
int endCall(Reasons& reasons, LoadStatus status);

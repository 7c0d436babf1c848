// A host for tests: runs the three calls and keeps all they answer.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "samples/picture.h"
#include "tload.h"

using Bytes = std::vector<u8>;

struct LoadOptions {
    u32 id = formatDetect; // else the loader to install
    int wantPalette = 1;
    u32 kindOnEntry = 0;
    std::vector<u32> bands = {};    // rows of each loadBand call; empty = the whole picture at once
    bool bandsFromFirstRow = false; // every call gets the first row of the picture, as BMP files want it
    i64 extraStride = 0;            // bytes behind (or, negative, missing from) each row
    u8 fill = 0xA5;                 // what the caller's rows hold before
};

struct Loaded {
    int format = 0;
    int status = -1;
    int bandStatus = -1; // of the last loadBand call
    u32 kind = 0, width = 0, height = 0, resX = 0, resY = 0, mulX = 0, mulY = 0, firstPart = 0;
    u8 orientationFlag = 0;
    Bytes palette;
    std::string description;
    u64 rowBytes = 0;
    u64 stride = 0;
    Bytes rows; // height x stride

    Bytes pixels() const;             // without what is behind each row
    std::vector<u32> numbers() const; // from the kind to the first part, and the orientation flag
};

Loaded load(const std::string& path, const LoadOptions& options = {});

// The remarks on the last load, a line each, the grave ones with a '!' in front.
std::string remarkTexts();

// A picture that is open from construction to destruction, for tests that call loadBand themselves.
struct OpenPicture {
    int status;
    u32 kind = 0, width = 0, height = 0;
    bool isEnded = true; // by the destructor

    OpenPicture(const std::string& path, u32 id);
    ~OpenPicture();
};

// A directory of its own for each test, removed with all it holds.
struct TestDirectory {
    std::string path;

    TestDirectory();
    ~TestDirectory();
    std::string write(const std::string& name, const Bytes& bytes) const;
    std::string write(const std::string& name, const std::string& text) const;
};

int openDescriptors();

// Loads the file cut off at every length and with every bit of its first bytes turned, as it is detected and by its own
// loader: any status, but nothing outside the rows is written and nothing stays open.
void expectHarmless(const std::string& name, const Bytes& bytes, u32 id);

// The functions that a header declares behind a word, and those that a library exports.
std::set<std::string> declaredNames(const char* header, const std::string& word);
std::set<std::string> exportedNames(const std::string& library);

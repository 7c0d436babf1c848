// One open file: how its format is found, what it holds, its rows.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "loomfile/common_pictures.h"
#include "loomfile/draft/draft_picture.h"
#include "loomfile/refusal.h"
#include "loomfile/remark.h"
#include "loomfile/settings.h"
#include "loomfile/work_folder.h"

struct Freer {
    void operator()(LoaderState* state) const { llibFreeState(state); }
    void operator()(u8* bytes) const { free(bytes); }
};

// The calling thread works with a state of libTload's for a while.
struct StateInUse {
    explicit StateInUse(LoaderState* state) { llibUseState(state); }
    StateInUse(const StateInUse&) = delete;
    StateInUse& operator=(const StateInUse&) = delete;
    ~StateInUse() { llibUseState(nullptr); }
};

struct Loomfile {
    explicit Loomfile(Settings given);
    Loomfile(const Loomfile&) = delete;
    Loomfile& operator=(const Loomfile&) = delete;

    // All of these throw Refusal, or what the standard library throws.
    void open(const char* given);
    void openMemory(const void* bytes, u64 size, const char* name);
    void readRows(u8* rows, u32 count, u32 stride);
    void rewind() { nextRow = 0; }
    void readAll(u8* rows, u32 stride);
    // The next rows, one behind the other: where they are kept, or in a scratch that is made as large as it takes.
    const u8* nextRows(u32 count, std::vector<u8>& scratch);
    const std::vector<FormatId>& candidates();
    const std::string& colourName(u32 index);
    Draft draft();
    bool tellsColours() const { return shown != nullptr && shown->draft.hasColours(); } // of its threads

    LoomfileInfo info;
    std::vector<Remark> remarks;

private:
    using Attempt = std::optional<Refusal>; // none when the file is open

    Attempt tryFormat(FormatId format, const std::string& file);
    Attempt tryNamed(FormatId format);
    Attempt judge(FormatId format, int status, int errorNumber);
    Attempt limit() const;
    void reopen();

    bool openDraft();
    void findFormat();
    Attempt tryDetected(FormatId detected, bool isGuess);
    void openForced();
    bool openFirstPart();
    bool openByName(FormatId detected, FormatId& doubted);
    bool openByContents();
    void readAgainOrRefuse(Refusal refused);
    bool readAgain(const CommonPicture* picture, const std::string& why);
    bool mayBe(FormatId format) const;
    bool contentsBegin(const char* mark) const;
    bool fitsExactly();
    bool isDoubted() const;
    std::string linkName(FormatId format) const;
    void accept(FormatId refusedBy); // its own format does not count
    void acceptOrReadAgain(FormatId refusedBy);
    void acceptDoubtful(FormatId refusedBy);

    const CommonPicture* commonPicture() const;
    void countPalette();
    void takeRemarks();
    void deliver(u8* rows, u32 count, u32 stride);
    void loadBand(u8* rows, u32 count);
    void loadWhole();
    bool hasGraveRemark() const;
    bool isStreamed() const;
    bool loadAlike(u8* rows, u32 firstRow, u32 count);
    bool stream(u8* rows, u32 count, u32 stride);
    u64 pictureBytes() const { return u64{info.rowBytes} * info.height; }

    Settings settings;
    WorkFolder work; // outlives the state, whose loader may have files in it
    std::unique_ptr<LoaderState, Freer> state;
    std::string path;   // as loaders are given it
    std::string opened; // the path or a link to it, which the picture was opened by
    std::vector<Remark> ownRemarks;
    std::vector<FormatId> accepted; // filled when they are asked for or the contents were asked
    std::vector<std::string> colourNames;
    bool hasColourNames = false;
    bool isSpent = false;     // rows have been taken from the loader
    bool isNamedBare = false; // "./" was put before the name
    u8 header[256];           // the file's first bytes
    size_t headerBytes = 0;
    u64 fileBytes = 0;
    u32 nextRow = 0;
    std::unique_ptr<u8, Freer> pixels;   // the whole picture, when it is kept
    std::unique_ptr<DraftPicture> shown; // instead of what a loader delivers
    FormatId loader = 0;
    char loaderPath[4096]; // loaders write the first part's name into it
    char description[8192];
    std::string firstPart;
};

// Names of the colours of a palette file, as many as have one.
std::vector<std::string> readColourNames(const std::string& path, FormatId format);

// Why a format's loader refused a file, as a sentence.
struct Circumstances {
    FormatId format;
    int status;
    std::string reason;
    bool isDetected; // nobody has said which format it is
    int errorNumber; // of a file that cannot be read, else 0
    bool hasItsName;
    bool lacksHelper;
};
std::string sentenceOf(const Circumstances& file);

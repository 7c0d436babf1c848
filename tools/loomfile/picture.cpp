#include "picture.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include "messages.h"

static std::vector<u8> readStandardInput()
{
    if (isatty(STDIN_FILENO) != 0)
        throw Failure{exitUsage, standardStream, "standard input is a terminal, send a file or a program to it"};
    constexpr size_t step = 1 << 16;
    std::vector<u8> bytes;
    size_t got = 0;
    do {
        bytes.resize(bytes.size() + step);
        got = fread(bytes.data() + bytes.size() - step, 1, step, stdin);
        bytes.resize(bytes.size() - step + got);
    } while (got == step);
    if (ferror(stdin) != 0)
        throw Failure{exitCannotRead, standardStream, "standard input cannot be read"};
    return bytes;
}

static LoomfileOptions libraryOptions(const OpenOptions& options)
{
    auto command = [](const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; };
    LoomfileOptions result = loomfileOptions();
    result.format = options.format;
    result.libtloadOnly = options.libtloadOnly ? 1 : 0;
    result.bonasUnpadded = options.bonasLinePadding == 0 ? 1 : 0;
    result.jc4Module = options.jc4Module;
    result.tmpDir = options.tmpDir.empty() ? nullptr : options.tmpDir.c_str();
    result.gzipCommand = command(options.gzip);
    result.unzipCommand = command(options.unzip);
    result.msExpandCommand = command(options.msExpand);
    result.vectorPreviewCommand = command(options.vectorPreview);
    result.graphicsCommand = command(options.graphics);
    return result;
}

Picture::Picture(const std::string& sourceName, const OpenOptions& options)
    : source(sourceName), file(sourceName), info(loomfileInfo())
{
    const LoomfileOptions given = libraryOptions(options);
    LoomfileFailure failure = loomfileFailure();
    if (source == standardStream) {
        file = options.name.empty() ? "standard input" : options.name;
        const std::vector<u8> bytes = readStandardInput();
        handle.reset(loomfileOpenMemory(bytes.data(), bytes.size(), options.name.c_str(), &given, &failure));
    } else {
        handle.reset(loomfileOpen(source.c_str(), &given, &failure));
    }
    if (handle == nullptr)
        throw Failure{failure.status, file.empty() ? "\"\"" : shortened(file), failure.sentence, failure.signal,
                      failure.format};
    loomfileGetInfo(handle.get(), &info);
}

DraftHandle writtenDraft(const Picture& picture)
{
    return picture.info.isDraft != 0 ? openDraft(picture) : nullptr;
}

Pixels loadPixels(Picture& picture)
{
    const LoomfileInfo& info = picture.info;
    // Memory that no row is written to costs nothing this way, however large a damaged header says the picture is.
    Pixels pixels(static_cast<u8*>(calloc(info.height, info.rowBytes)));
    if (pixels == nullptr)
        throw Failure{exitOutOfMemory, picture.file,
                      "there is not enough memory for a picture of " + sizeText(info) + " pixels"};
    LoomfileFailure failure = loomfileFailure();
    if (loomfileReadAll(picture.handle.get(), pixels.get(), info.rowBytes, &failure) != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    return pixels;
}

void layOnWhite(const u8* rgba, u8* rgb)
{
    const int alpha = rgba[3];
    for (int channel = 0; channel < 3; channel++)
        rgb[channel] = static_cast<u8>((rgba[channel] * alpha + 255 * (255 - alpha) + 127) / 255);
}

std::vector<Remark> remarksOf(const Picture& picture)
{
    std::vector<Remark> remarks(loomfileRemarkCount(picture.handle.get()));
    for (u32 i = 0; i < remarks.size(); i++) {
        u32 isGrave = 0;
        const char* text = loomfileRemark(picture.handle.get(), i, &isGrave);
        remarks[i] = {text, isGrave != 0};
    }
    return remarks;
}

std::vector<FormatId> candidatesOf(const Picture& picture)
{
    std::vector<FormatId> candidates(loomfileCandidateCount(picture.handle.get()));
    for (u32 i = 0; i < candidates.size(); i++)
        candidates[i] = loomfileCandidate(picture.handle.get(), i);
    return candidates;
}

std::string colourNameOf(const Picture& picture, u32 index)
{
    return loomfileColourName(picture.handle.get(), index);
}

DraftHandle openDraft(const Picture& picture)
{
    LoomfileFailure failure = loomfileFailure();
    DraftHandle draft(loomfileOpenDraft(picture.handle.get(), &failure));
    if (draft == nullptr)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    return draft;
}

void requireUsualSize(const Picture& picture)
{
    if (picture.info.rowBytes > INT_MAX || picture.info.width > INT_MAX / 3 || picture.info.height > INT_MAX)
        throw Failure{exitBadData, picture.file, "the picture is too large (" + sizeText(picture.info) + " pixels)"};
}

std::string sizeText(const LoomfileInfo& info)
{
    return std::to_string(info.width) + " x " + std::to_string(info.height);
}

std::string colourText(const LoomfileInfo& info)
{
    switch (info.kind) {
    case kindRGB:
        return "true colour";
    case kindRGBA:
        return "true colour with transparency";
    default:
        return countText(info.colourCount, "colour");
    }
}

std::string countText(u64 count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

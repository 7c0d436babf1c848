// loomfile for C++: the same as loomfile.h, with objects that close their files and exceptions instead of statuses.
//
//     loomfile::File rose("rose.jc5");
//     std::vector<u8> rows = rose.readAll();
//
// Header only, C++17. What is said in loomfile.h of threads and of the life of texts holds here as well.
#ifndef LOOMFILE_HPP
#define LOOMFILE_HPP

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "loomfile.h"

namespace loomfile
{

// What is thrown. what() is the sentence.
class Error : public std::exception
{
public:
    explicit Error(const LoomfileFailure& why) : failure(why) {}
    const char* what() const noexcept override { return failure.sentence; }

    LoomfileFailure failure;
};

struct Remark {
    std::string text;
    bool isGrave;
};

// An open file. It can be moved; one that was moved from can only be assigned to or destroyed.
class File
{
public:
    explicit File(const std::string& path, const LoomfileOptions& options = loomfileOptions())
    {
        LoomfileFailure failure = loomfileFailure();
        keep(loomfileOpen(path.c_str(), &options, &failure), failure);
    }

    // A file of which the bytes are at hand; they are not needed any more afterwards.
    static File fromMemory(const void* bytes, std::size_t size, const std::string& name,
                           const LoomfileOptions& options = loomfileOptions())
    {
        File file;
        LoomfileFailure failure = loomfileFailure();
        file.keep(loomfileOpenMemory(bytes, size, name.c_str(), &options, &failure), failure);
        return file;
    }

    // Valid while the file is open.
    const LoomfileInfo& info() const { return known; }

    std::vector<Remark> remarks() const
    {
        std::vector<Remark> all;
        for (u32 i = 0; i < loomfileRemarkCount(handle.get()); i++) {
            u32 isGrave = 0;
            const char* text = loomfileRemark(handle.get(), i, &isGrave);
            all.push_back({text, isGrave != 0});
        }
        return all;
    }

    std::vector<i32> candidates()
    {
        std::vector<i32> all;
        const u32 count = loomfileCandidateCount(handle.get());
        for (u32 i = 0; i < count; i++)
            all.push_back(loomfileCandidate(handle.get(), i));
        return all;
    }

    std::string colourName(u32 index) { return loomfileColourName(handle.get(), index); }

    // The next rows, one every stride bytes; a stride of 0 stands for the row size.
    void readRows(u8* rows, u32 count, u32 stride = 0)
    {
        check([&](LoomfileFailure* failure) {
            return loomfileReadRows(handle.get(), rows, count, stride != 0 ? stride : known.rowBytes, failure);
        });
    }

    void readAll(u8* rows, u32 stride = 0)
    {
        check([&](LoomfileFailure* failure) {
            return loomfileReadAll(handle.get(), rows, stride != 0 ? stride : known.rowBytes, failure);
        });
    }

    std::vector<u8> readAll()
    {
        std::vector<u8> rows(static_cast<std::size_t>(known.rowBytes) * known.height);
        readAll(rows.data());
        return rows;
    }

    void rewind() { loomfileRewind(handle.get()); }

    // For what only loomfile.h has; the file stays the object's.
    Loomfile* get() const { return handle.get(); }

private:
    struct Closer {
        void operator()(Loomfile* file) const { loomfileClose(file); }
    };

    File() = default;

    void keep(Loomfile* file, const LoomfileFailure& failure)
    {
        if (file == nullptr)
            throw Error(failure);
        handle.reset(file);
        known = loomfileInfo();
        loomfileGetInfo(file, &known);
    }

    template <typename Call>
    static void check(const Call& call)
    {
        LoomfileFailure failure = loomfileFailure();
        if (call(&failure) != loadSuccess)
            throw Error(failure);
    }

    std::unique_ptr<Loomfile, Closer> handle;
    LoomfileInfo known = loomfileInfo();
};

// A small picture of a file, R, G, B, A of each pixel.
struct Thumbnail {
    explicit Thumbnail(File& file, const LoomfileThumbnailOptions& options = loomfileThumbnailOptions())
    {
        LoomfileFailure failure = loomfileFailure();
        if (loomfileGetThumbnailSize(file.get(), &options, &width, &height) == loadSuccess)
            pixels.resize(std::size_t{4} * width * height);
        if (loomfileDrawThumbnail(file.get(), &options, pixels.data(), 4 * width, &failure) != loadSuccess)
            throw Error(failure);
    }

    u32 width = 0, height = 0;
    std::vector<u8> pixels;
};

// The draft of a file, which it does not need any more. It can be moved as a File can.
class Draft
{
public:
    explicit Draft(File& file)
    {
        LoomfileFailure failure = loomfileFailure();
        handle.reset(loomfileOpenDraft(file.get(), &failure));
        if (handle == nullptr)
            throw Error(failure);
        loomfileGetDraftInfo(handle.get(), &known);
    }

    // Its texts are valid while the draft exists.
    const LoomfileDraftInfo& info() const { return known; }

    // list: loomfileThreading and the like.
    std::vector<u16> numbers(u32 list, u32 index) const
    {
        const u16* first = nullptr;
        const u32 count = loomfileDraftNumbers(handle.get(), list, index, &first);
        return {first, first + count};
    }

    // which: loomfileWarpSpacing and the like.
    std::vector<double> lengths(u32 which) const
    {
        const double* first = nullptr;
        const u32 count = loomfileDraftLengths(handle.get(), which, &first);
        return {first, first + count};
    }

    // The drawdown of all picks, one row behind the other.
    std::vector<u8> rows() const
    {
        const u32 rowBytes = (known.ends + 7) / 8;
        std::vector<u8> drawdown(static_cast<std::size_t>(rowBytes) * known.picks);
        if (loomfileDraftRows(handle.get(), 0, known.picks, drawdown.data(), rowBytes) != loadSuccess)
            throw std::bad_alloc();
        return drawdown;
    }

    std::string wif() const
    {
        LoomfileFailure failure = loomfileFailure();
        u64 size = 0;
        const char* text = loomfileDraftWif(handle.get(), &size, &failure);
        if (text == nullptr)
            throw Error(failure);
        return {text, size};
    }

    // For what only loomfile.h has; the draft stays the object's.
    LoomfileDraft* get() const { return handle.get(); }

private:
    struct Closer {
        void operator()(LoomfileDraft* draft) const { loomfileCloseDraft(draft); }
    };

    std::unique_ptr<LoomfileDraft, Closer> handle;
    LoomfileDraftInfo known = loomfileDraftInfo();
};

} // namespace loomfile

#endif

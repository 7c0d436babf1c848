// The C interface: no exception leaves it.
#include "loomfile.h"

#include <memory>
#include <new>

#include "loomfile/format_facts.h"
#include "loomfile/guard.h"
#include "loomfile/reader.h"

template <typename Action>
static Loomfile* openWith(const LoomfileOptions* options, LoomfileFailure* failure, const Action& action)
{
    std::unique_ptr<Loomfile> file;
    const i32 status = guardedly(failure, [&] {
        file = std::make_unique<Loomfile>(settingsOf(options));
        action(*file);
    });
    return status == loadSuccess ? file.release() : nullptr;
}

Loomfile* loomfileOpen(const char* path, const LoomfileOptions* options, LoomfileFailure* failure)
{
    return openWith(options, failure, [path](Loomfile& file) { file.open(path); });
}

Loomfile* loomfileOpenMemory(const void* bytes, u64 size, const char* name, const LoomfileOptions* options,
                             LoomfileFailure* failure)
{
    return openWith(options, failure, [&](Loomfile& file) { file.openMemory(bytes, size, name); });
}

void loomfileClose(Loomfile* file)
{
    delete file;
}

void loomfileGetInfo(const Loomfile* file, LoomfileInfo* info)
{
    copySized(info, &file->info, sizeof file->info);
}

u32 loomfileRemarkCount(const Loomfile* file)
{
    return static_cast<u32>(file->remarks.size());
}

const char* loomfileRemark(const Loomfile* file, u32 index, u32* isGrave)
{
    const bool exists = index < file->remarks.size();
    if (isGrave != nullptr)
        *isGrave = exists && file->remarks[index].isGrave ? 1 : 0;
    return exists ? file->remarks[index].text.c_str() : "";
}

u32 loomfileCandidateCount(Loomfile* file)
{
    u32 count = 0;
    guardedly(nullptr, [&] { count = static_cast<u32>(file->candidates().size()); });
    return count;
}

i32 loomfileCandidate(Loomfile* file, u32 index)
{
    i32 format = 0;
    guardedly(nullptr, [&] {
        if (index < file->candidates().size())
            format = file->candidates()[index];
    });
    return format;
}

const char* loomfileColourName(Loomfile* file, u32 index)
{
    const char* name = "";
    guardedly(nullptr, [&] { name = file->colourName(index).c_str(); });
    return name;
}

i32 loomfileReadRows(Loomfile* file, u8* rows, u32 count, u32 stride, LoomfileFailure* failure)
{
    return guardedly(failure, [&] { file->readRows(rows, count, stride); });
}

i32 loomfileReadAll(Loomfile* file, u8* rows, u32 stride, LoomfileFailure* failure)
{
    return guardedly(failure, [&] { file->readAll(rows, stride); });
}

void loomfileRewind(Loomfile* file)
{
    file->rewind();
}

const char* loomfileHelperPackages(i32 format)
{
    return helperPackages(format);
}

void loomfileRemoveWorkFolders()
{
    removeAllWorkFolders();
}

const char* loomfileVersion()
{
    return LOOMFILE_VERSION;
}

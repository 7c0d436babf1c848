#include "framework/reason.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "framework/file.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t messageBytes = 8192;

// What comes from a file may hold anything: only ASCII's printable characters are passed on.
void makePrintable(char* text)
{
    for (; *text != 0; text++) {
        if (*text < ' ' || *text > '~')
            *text = '?';
    }
}

[[gnu::format(printf, 3, 0)]] void writePhrase(char* text, size_t size, const char* phrase, va_list arguments)
{
    vsnprintf(text, size, phrase, arguments);
    makePrintable(text);
}

// Null when there is no room: what is grave takes the place of what is not.
Remark* newRemark(Reasons& reasons, Gravity gravity)
{
    if (reasons.remarkCount < mostRemarks)
        return &reasons.remarks[reasons.remarkCount++];
    for (Remark& old : reasons.remarks) {
        if (gravity == Gravity::grave && old.gravity == Gravity::harmless)
            return &old;
    }
    return nullptr;
}

} // namespace

LoadStatus refuse(LoadStatus status, const char* phrase, ...)
{
    Reasons& reasons = threadState().reasons;
    va_list arguments;
    va_start(arguments, phrase);
    writePhrase(reasons.reason, sizeof reasons.reason, phrase, arguments);
    va_end(arguments);
    return status;
}

LoadStatus refuseName(const char* extension)
{
    return refuse(loadWrongFormat, "the name does not end in .%s", extension);
}

LoadStatus refuseOpening()
{
    return errno != 0 ? refuse(loadCannotRead, "it cannot be opened: %s", strerror(errno))
                      : refuse(loadCannotRead, "it cannot be opened");
}

LoadStatus refuseMemory()
{
    return refuse(loadOutOfMemory, "there is not enough memory");
}

LoadStatus refuseHeader(LoadStatus status)
{
    return refuse(status, "the file ends in its header");
}

LoadStatus refuseSize(LoadStatus status, i64 width, i64 height)
{
    return refuse(status, "its header tells a size of %lld x %lld", static_cast<long long>(width),
                  static_cast<long long>(height));
}

LoadStatus refuseFileSize(LoadStatus status, i64 width, i64 height, i64 fileSize)
{
    return refuse(status, "the header announces %lld x %lld, the file holds %s", static_cast<long long>(width),
                  static_cast<long long>(height), amountOf(static_cast<u64>(fileSize)).text);
}

LoadStatus refuseUnopened()
{
    return refuse(loadBadData, "no picture of this format is open with its rows");
}

LoadStatus refuseRowsBehindPicture()
{
    return refuse(loadBadData, "rows behind the last one of the picture are asked for");
}

LoadStatus refuseEarlyEnd(u64 missing)
{
    return refuse(loadBadData, "the file ends %llu row%s before the picture does",
                  static_cast<unsigned long long>(missing), missing == 1 ? "" : "s");
}

void remark(Gravity gravity, const char* phrase, ...)
{
    Reasons& reasons = threadState().reasons;
    char text[remarkBytes];
    va_list arguments;
    va_start(arguments, phrase);
    writePhrase(text, sizeof text, phrase, arguments);
    va_end(arguments);
    for (i32 i = 0; i < reasons.remarkCount; i++) {
        if (strcmp(reasons.remarks[i].text, text) == 0)
            return;
    }
    Remark* added = newRemark(reasons, gravity);
    if (added == nullptr)
        return;
    *added = {{}, gravity, nullptr, 0};
    strcpy(added->text, text);
}

void remarkCount(Gravity gravity, u64 more, const char* phrase)
{
    if (more == 0)
        return;
    Reasons& reasons = threadState().reasons;
    Remark* counting = nullptr;
    for (i32 i = 0; i < reasons.remarkCount; i++) {
        const char* counted = reasons.remarks[i].counted;
        if (counted != nullptr && strcmp(counted, phrase) == 0)
            counting = &reasons.remarks[i];
    }
    if (counting == nullptr) {
        counting = newRemark(reasons, gravity);
        if (counting == nullptr)
            return;
        *counting = {{}, gravity, phrase, 0};
    }
    counting->count += more;
    snprintf(counting->text, sizeof counting->text, "%s: %llu", phrase,
             static_cast<unsigned long long>(counting->count));
}

Amount amountOf(u64 bytes)
{
    constexpr u64 exact = 100000;
    Amount amount;
    if (bytes < exact)
        snprintf(amount.text, sizeof amount.text, "%llu byte%s", static_cast<unsigned long long>(bytes),
                 bytes == 1 ? "" : "s");
    else if (bytes < exact * 1000)
        snprintf(amount.text, sizeof amount.text, "%llu KB", static_cast<unsigned long long>(bytes / 1000));
    else
        snprintf(amount.text, sizeof amount.text, "%llu MB", static_cast<unsigned long long>(bytes / 1000000));
    return amount;
}

void remarkFileSize(FILE* stream, u64 dataBytes, u64 width, u64 height)
{
    const i64 size = regularFileSize(stream);
    const i64 position = size >= 0 ? ftello(stream) : -1;
    if (position < 0)
        return;
    const u64 held = size > position ? static_cast<u64>(size - position) : 0;
    if (held < dataBytes)
        remark(Gravity::grave, "the header announces %llu x %llu, the file lacks %s of its %s",
               static_cast<unsigned long long>(width), static_cast<unsigned long long>(height),
               amountOf(dataBytes - held).text, amountOf(dataBytes).text);
    else if (held > dataBytes)
        remark(Gravity::harmless, "behind the picture the file goes on for %s", amountOf(held - dataBytes).text);
}

void tell(FILE* stream, const char* text, ...)
{
    const Messages& messages = threadState().messages;
    va_list arguments;
    va_start(arguments, text);
    if (messages.handler == nullptr) {
        vfprintf(stream, text, arguments);
    } else {
        char line[messageBytes];
        vsnprintf(line, sizeof line, text, arguments);
        line[strcspn(line, "\n")] = 0;
        messages.handler(messages.context, line);
    }
    va_end(arguments);
}

void beginLoad(Reasons& reasons)
{
    reasons.reason[0] = 0;
    reasons.remarkCount = 0;
}

void beginBand(Reasons& reasons)
{
    reasons.reason[0] = 0;
}

int endCall(Reasons& reasons, LoadStatus status)
{
    if (status == loadSuccess)
        reasons.reason[0] = 0;
    else if (reasons.reason[0] == 0)
        strcpy(reasons.reason, llibStatusText(status));
    return status;
}

const char* llibGetReason()
{
    return threadState().reasons.reason;
}

i32 llibGetRemarkCount()
{
    return threadState().reasons.remarkCount;
}

const char* llibGetRemark(i32 index, i32* grave)
{
    const Reasons& reasons = threadState().reasons;
    const bool exists = index >= 0 && index < reasons.remarkCount;
    if (grave != nullptr)
        *grave = exists && reasons.remarks[index].gravity == Gravity::grave ? 1 : 0;
    return exists ? reasons.remarks[index].text : "";
}

void llibSetMessageHandler(void (*handler)(void* context, const char* message), void* context)
{
    threadState().messages = {handler, context};
}

const char* llibStatusText(i32 status)
{
    switch (status) {
    case loadSuccess:
        return "success";
    case loadOutOfMemory:
        return "out of memory";
    case loadCannotRead:
        return "the file cannot be read";
    case loadDecoderError:
        return "the decoder reported an error";
    case loadUnsupportedVariant:
        return "this variant of the format is not read";
    case loadWrongFormat:
        return "the file is not of this format";
    case loadBadData:
        return "sizes are out of range or data are missing";
    default:
        return "unknown status";
    }
}

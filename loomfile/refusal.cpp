#include "loomfile/refusal.h"

#include <algorithm>
#include <cstring>

std::string systemReason(int errorNumber)
{
    return std::string("(") + strerror(errorNumber) + ")";
}

// The bytes of the character that begins there; 0 when none does, or one that is not to be printed.
static size_t characterBytes(const std::string& text, size_t at)
{
    const auto first = static_cast<u8>(text[at]);
    if (first < 0x80)
        return first >= 0x20 && first != 0x7F ? 1 : 0;
    const size_t count = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    constexpr u32 smallest[] = {0, 0, 0xA0, 0x800, 0x10000}; // 0x80 to 0x9F are control characters
    if (first < 0xC2 || first > 0xF4 || at + count > text.size())
        return 0;
    u32 code = first & (0xFFU >> (count + 1));
    for (size_t i = 1; i < count; i++) {
        const auto next = static_cast<u8>(text[at + i]);
        if ((next & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (next & 0x3F);
    }
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    return code >= smallest[count] && code < 0x110000 && !isSurrogate ? count : 0;
}

std::string printable(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t bytes = characterBytes(text, at);
        result += bytes == 0 ? "?" : text.substr(at, bytes);
        at += std::max<size_t>(bytes, 1);
    }
    return result;
}

template <size_t size>
static void copyText(char (&destination)[size], const std::string& text)
{
    size_t length = std::min(text.size(), size - 1);
    while (length > 0 && length < text.size() && (static_cast<u8>(text[length]) & 0xC0) == 0x80)
        length--;
    memcpy(destination, text.data(), length);
    destination[length] = 0;
}

void copySized(void* destination, const void* source, u32 size)
{
    constexpr size_t sizeField = sizeof(u32);
    u32 there;
    memcpy(&there, destination, sizeField);
    const size_t bytes = std::min(there, size);
    if (bytes > sizeField)
        memcpy(static_cast<u8*>(destination) + sizeField, static_cast<const u8*>(source) + sizeField,
               bytes - sizeField);
}

void tell(const Refusal& refusal, LoomfileFailure* failure)
{
    if (failure == nullptr)
        return;
    LoomfileFailure told = loomfileFailure();
    told.status = refusal.status;
    told.format = refusal.format;
    told.signal = refusal.signal;
    copyText(told.reason, printable(refusal.reason));
    copyText(told.sentence, printable(refusal.sentence));
    copySized(failure, &told, sizeof told);
}

void tellSuccess(LoomfileFailure* failure)
{
    if (failure == nullptr)
        return;
    const LoomfileFailure none = loomfileFailure();
    copySized(failure, &none, sizeof none);
}

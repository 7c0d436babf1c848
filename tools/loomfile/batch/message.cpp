#include "batch/message.h"

#include <cstring>

constexpr size_t lengthBytes = sizeof(u32);
constexpr u32 longestMessage = 1 << 30;

static void appendLength(std::string& bytes, size_t length)
{
    const auto number = static_cast<u32>(length);
    bytes.append(reinterpret_cast<const char*>(&number), lengthBytes);
}

void appendMessage(std::string& bytes, const Fields& fields)
{
    size_t length = 0;
    for (const std::string& field : fields)
        length += lengthBytes + field.size();
    appendLength(bytes, length);
    for (const std::string& field : fields) {
        appendLength(bytes, field.size());
        bytes += field;
    }
}

void Inbox::add(const char* more, size_t count)
{
    bytes.erase(0, taken);
    taken = 0;
    bytes.append(more, count);
}

std::optional<Fields> Inbox::take()
{
    auto lengthAt = [this](size_t place) {
        u32 length = 0;
        memcpy(&length, bytes.data() + place, lengthBytes);
        return length;
    };
    if (isBroken || bytes.size() - taken < lengthBytes)
        return std::nullopt;
    const u32 length = lengthAt(taken);
    isBroken = length > longestMessage;
    if (isBroken || bytes.size() - taken - lengthBytes < length)
        return std::nullopt;
    Fields fields;
    size_t place = taken + lengthBytes;
    const size_t end = place + length;
    while (place < end) {
        const u64 size = end - place < lengthBytes ? longestMessage : lengthAt(place);
        place += lengthBytes;
        if (place > end || size > end - place) {
            isBroken = true;
            return std::nullopt;
        }
        fields.push_back(bytes.substr(place, size));
        place += size;
    }
    taken = end;
    return fields;
}

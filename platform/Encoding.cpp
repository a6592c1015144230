#include "platform/Encoding.h"

#include "platform/EncodingParts.h"

namespace platform {

namespace {

using parts::kBase64Table;
using parts::kHexadecimalTable;

bool isBlank(wchar_t character) noexcept {
    // Nearly every character that is asked about stands above the blank.
    return character <= L' ' && (character == L' ' || character == L'\t' || character == L'\r' || character == L'\n');
}

/// What a well-formed text stands for.
struct Measure {
    std::size_t bytes = 0;
    bool isOneRun = true; ///< no white space in it
};

std::optional<Measure> measureHexadecimal(const wchar_t* text, std::size_t length) noexcept {
    Measure measure;
    for (std::size_t at = 0; at < length;) {
        if (length - at >= 2 && parts::areDigits(kHexadecimalTable, text[at], text[at + 1])) {
            at += 2;
            ++measure.bytes;
        } else if (isBlank(text[at])) {
            ++at;
            measure.isOneRun = false;
        } else {
            return std::nullopt;
        }
    }
    return measure.bytes == 0 ? std::nullopt : std::optional(measure);
}

/// Whether a complete group without padding stands there.
bool isFullGroup(const wchar_t* group) noexcept {
    return parts::areDigits(kBase64Table, group[0], group[1], group[2], group[3]);
}

/// Bytes that a last group, which is padded, stands for; 0 when it is malformed. The bits of the last character that no
/// byte takes are not looked at, as the Windows decoder does not either.
std::size_t measurePaddedGroup(const wchar_t* group) noexcept {
    if (!parts::areDigits(kBase64Table, group[0], group[1]) || group[3] != L'=') {
        return 0;
    }
    if (group[2] == L'=') {
        return 1;
    }
    return parts::areDigits(kBase64Table, group[2]) ? 2 : 0;
}

std::optional<Measure> measureBase64(const wchar_t* text, std::size_t length) noexcept {
    Measure measure;
    bool isPadded = false;
    for (std::size_t at = 0; at < length;) {
        const std::size_t run = at;
        while (length - at >= 4 && !isPadded && isFullGroup(text + at)) {
            at += 4;
        }
        measure.bytes += (at - run) / 4 * 3;
        if (at == length) {
            break;
        }
        const std::size_t last = length - at >= 4 && !isPadded ? measurePaddedGroup(text + at) : 0;
        if (last != 0) {
            at += 4;
            measure.bytes += last;
            isPadded = true;
        } else if (isBlank(text[at])) {
            ++at;
            measure.isOneRun = false;
        } else {
            return std::nullopt;
        }
    }
    return measure.bytes == 0 ? std::nullopt : std::optional(measure);
}

/// Calls convert(run, length) for each run of characters between white space, until it returns false.
template <typename Convert>
bool forEachRun(const wchar_t* text, std::size_t length, const Measure& measure, Convert convert) noexcept {
    if (measure.isOneRun) {
        return convert(text, length);
    }
    std::size_t at = 0;
    while (at < length) {
        std::size_t end = at;
        while (end < length && !isBlank(text[end])) {
            ++end;
        }
        if (end > at && !convert(text + at, end - at)) {
            return false;
        }
        at = end + 1;
    }
    return true;
}

std::size_t base64RunBytes(const wchar_t* run, std::size_t length) noexcept {
    const std::size_t padding = run[length - 2] == L'=' ? 2 : (run[length - 1] == L'=' ? 1 : 0);
    return length / 4 * 3 - padding;
}

/// What may follow a lead byte: how many continuation bytes, and the range of the first of them (which excludes
/// over-long forms, surrogates and values past U+10FFFF). No continuation: not a lead byte.
struct Lead {
    std::size_t continuations;
    unsigned char low;
    unsigned char high;
};

Lead leadOf(unsigned char byte) noexcept {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    }
    return {0, 0, 0};
}

struct Sequence {
    std::size_t length; ///< of a character, or of the malformed part to be replaced as one
    bool isCharacter;
};

Sequence sequenceAt(const char* bytes, std::size_t length) noexcept {
    const auto byteAt = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    if (byteAt(0) < 0x80) {
        return {1, true};
    }
    const Lead lead = leadOf(byteAt(0));
    std::size_t at = 1;
    while (at <= lead.continuations && at < length && byteAt(at) >= (at == 1 ? lead.low : 0x80) &&
           byteAt(at) <= (at == 1 ? lead.high : 0xBF)) {
        ++at;
    }
    return {at, lead.continuations != 0 && at > lead.continuations};
}

std::size_t wellFormedLength(const char* bytes, std::size_t length) noexcept {
    std::size_t at = 0;
    while (at < length) {
        const Sequence sequence = sequenceAt(bytes + at, length - at);
        if (!sequence.isCharacter) {
            break;
        }
        at += sequence.length;
    }
    return at;
}

} // namespace

// The systems differ in how many replacements a malformed part gets (Windows from version to version, Wine again
// otherwise), so they are given well-formed runs only.
std::size_t utf8ToWide(const char* bytes, std::size_t length, wchar_t* target, std::size_t room) noexcept {
    std::size_t written = 0;
    for (std::size_t at = 0; at < length;) {
        const std::size_t run = wellFormedLength(bytes + at, length - at);
        if (run != 0) {
            const std::size_t units =
                parts::convertUtf8(bytes + at, run, target == nullptr ? nullptr : target + written,
                                   target == nullptr ? 0 : room - written);
            if (units == 0) {
                return 0;
            }
            written += units;
            at += run;
            continue;
        }
        if (target != nullptr) {
            if (written == room) {
                return 0;
            }
            target[written] = parts::kReplacement;
        }
        ++written;
        at += sequenceAt(bytes + at, length - at).length;
    }
    return written;
}

std::optional<std::size_t> decodeHexadecimal(const wchar_t* text, std::size_t length, std::uint8_t* target,
                                             std::size_t room) noexcept {
    const std::optional<Measure> measure = measureHexadecimal(text, length);
    if (!measure) {
        return std::nullopt;
    }
    const std::size_t count = measure->bytes;
    if (target == nullptr) {
        return count;
    }
    const auto convert = [&target](const wchar_t* run, std::size_t runLength) {
        const bool converted = parts::convertHexadecimal(run, runLength, target);
        target += runLength / 2;
        return converted;
    };
    return count <= room && forEachRun(text, length, *measure, convert) ? std::optional(count) : std::nullopt;
}

std::optional<std::size_t> decodeBase64(const wchar_t* text, std::size_t length, std::uint8_t* target,
                                        std::size_t room) noexcept {
    const std::optional<Measure> measure = measureBase64(text, length);
    if (!measure) {
        return std::nullopt;
    }
    const std::size_t count = measure->bytes;
    if (target == nullptr) {
        return count;
    }
    const auto convert = [&target](const wchar_t* run, std::size_t runLength) {
        const std::size_t runBytes = base64RunBytes(run, runLength);
        const bool converted = parts::convertBase64(run, runLength, target, runBytes);
        target += runBytes;
        return converted;
    };
    return count <= room && forEachRun(text, length, *measure, convert) ? std::optional(count) : std::nullopt;
}

std::size_t encodeBase64(const std::uint8_t* bytes, std::size_t length, wchar_t* target, std::size_t room) noexcept {
    const std::size_t needed = length / 3 * 4 + (length % 3 == 0 ? 0 : 4);
    if (target == nullptr || length == 0) {
        return needed;
    }
    return needed <= room && parts::writeBase64(bytes, length, target) ? needed : 0;
}

} // namespace platform

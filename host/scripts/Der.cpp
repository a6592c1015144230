#include "host/scripts/Der.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <optional>

#include "host/plugin/Texts.h"
#include "text/Base64.h"

namespace host {

namespace {

constexpr std::uint8_t kBitString = 0x03;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kToPkcs8 =
    "; \"openssl pkcs8 -topk8 -nocrypt -in FILE -out key.p8\" writes it as unencrypted PKCS #8";

std::uint8_t byteAt(std::string_view bytes, std::size_t index) {
    return static_cast<std::uint8_t>(bytes[index]);
}

/// The size of the first value with its header; nullopt when bytes are missing, and when the length is indefinite or
/// not in its shortest form.
std::optional<std::size_t> valueSize(std::string_view bytes) {
    if (bytes.size() < 2) {
        return std::nullopt;
    }
    const std::size_t first = byteAt(bytes, 1);
    if (first < 0x80) {
        return 2 + first;
    }
    const std::size_t count = first - 0x80;
    if (count == 0 || count > 4 || bytes.size() < 2 + count || byteAt(bytes, 2) == 0) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (std::size_t i = 0; i < count; ++i) {
        length = length * 256 + byteAt(bytes, 2 + i);
    }
    return length < 0x80 ? std::nullopt : std::optional(2 + count + length);
}

/// The tags of the values inside a sequence; empty when they do not fill it.
std::string tagsInside(std::string_view sequence) {
    const std::size_t header = byteAt(sequence, 1) < 0x80 ? 2 : 2 + byteAt(sequence, 1) - 0x80U;
    std::string tags;
    for (std::string_view rest = sequence.substr(header); !rest.empty();) {
        const std::optional<std::size_t> size = valueSize(rest);
        if (!size || *size > rest.size()) {
            return "";
        }
        tags += rest.front();
        rest.remove_prefix(*size);
    }
    return tags;
}

std::string tags(std::initializer_list<std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

const char* nameOf(std::uint8_t tag) {
    return tag == kDerInteger ? "an integer" : "a sequence";
}

/// A block of PEM text, and where the text goes on behind it.
struct Block {
    std::string_view label;
    std::string_view body;
    std::size_t end = 0;
};

std::optional<Block> nextBlock(std::string_view text, std::size_t from) {
    const std::size_t begin = text.find(kBegin, from);
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t label = begin + kBegin.size();
    const std::size_t labelEnd = text.find(kDashes, label);
    const std::size_t end = text.find(kEnd, label);
    if (labelEnd == std::string_view::npos || end == std::string_view::npos || end < labelEnd) {
        return std::nullopt;
    }
    const std::size_t body = labelEnd + kDashes.size();
    return Block{text.substr(label, labelEnd - label), text.substr(body, end - body), end};
}

std::string otherBlock(std::string_view found, std::string_view wanted) {
    std::string fault = "the file holds PEM of \"" + printable(found.substr(0, 64)) + "\", not of \"";
    fault.append(wanted).append("\"");
    const bool isKey = wanted == "PRIVATE KEY" && found.find(wanted) != std::string_view::npos;
    return isKey ? fault.append(kToPkcs8) : fault;
}

} // namespace

std::string derFault(std::string_view bytes, std::uint8_t tag) {
    if (bytes.empty() || byteAt(bytes, 0) != tag) {
        return std::string("not DER: it does not begin with ") + nameOf(tag);
    }
    const std::optional<std::size_t> size = valueSize(bytes);
    if (!size) {
        return "not DER: its length is malformed";
    }
    if (*size != bytes.size()) {
        return *size > bytes.size() ? "not DER: the end is missing" : "not DER: something stands behind its end";
    }
    return "";
}

std::string certificateFault(std::string_view der) {
    const std::string fault = derFault(der, kDerSequence);
    if (!fault.empty() || tagsInside(der) == tags({kDerSequence, kDerSequence, kBitString})) {
        return fault;
    }
    return "not a certificate";
}

std::string privateKeyFault(std::string_view der) {
    const std::string fault = derFault(der, kDerSequence);
    if (!fault.empty()) {
        return fault;
    }
    const std::string inside = tagsInside(der);
    if (inside.substr(0, 3) == tags({kDerInteger, kDerSequence, kOctetString})) {
        return "";
    }
    const bool isEncrypted = inside == tags({kDerSequence, kOctetString});
    return std::string(isEncrypted ? "the key is encrypted" : "not a private key as PKCS #8").append(kToPkcs8);
}

bool isPem(std::string_view text) {
    return text.find(kBegin) != std::string_view::npos;
}

std::string pemToDer(WipedBytes& file, std::string_view label) {
    const std::string_view text(file.data(), file.size());
    std::string_view other;
    std::optional<Block> wanted;
    for (std::optional<Block> block = nextBlock(text, 0); block; block = nextBlock(text, block->end)) {
        if (block->label == label && wanted) {
            return "the file holds several blocks of PEM; leave the one that is meant";
        }
        if (block->label == label) {
            wanted = block;
        } else if (other.empty()) {
            other = block->label;
        }
    }
    if (!wanted) {
        return other.empty() ? "the PEM in the file is malformed" : otherBlock(other, label);
    }
    WipedText digits;
    std::copy_if(wanted->body.begin(), wanted->body.end(), std::back_inserter(digits),
                 [](char c) { return c != ' ' && c != '\t' && c != '\r' && c != '\n'; });
    const SecretBuffer bytes = text::decodeBase64({digits.data(), digits.size()});
    if (bytes.data() == nullptr) {
        return "the PEM in the file is malformed";
    }
    const auto* first = reinterpret_cast<const char*>(bytes.data());
    file.assign(first, first + bytes.size());
    return "";
}

} // namespace host

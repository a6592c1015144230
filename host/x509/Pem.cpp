#include "host/x509/Pem.h"

#include <algorithm>
#include <iterator>

#include "host/plugin/Errors.h"
#include "text/Base64.h"
#include "text/WhiteSpace.h"
#include "text/Wiped.h"

namespace host::x509 {

namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::size_t kLineLength = 64;

std::string_view textOf(ByteView file) noexcept {
    return {reinterpret_cast<const char*>(file.data()), file.size()};
}

/// Takes the next line, without its end, off the front of `text`.
std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

/// Skips the headers "Name: value". Returns true when they say that the block is encrypted.
bool skipHeaders(std::string_view& body) {
    bool isEncrypted = false;
    for (std::string_view rest = body;; body = rest) {
        const std::string_view line = takeLine(rest);
        if (line.find(':') == std::string_view::npos) {
            return isEncrypted;
        }
        isEncrypted = isEncrypted || line.ends_with("ENCRYPTED");
    }
}

SecretBuffer decode(std::string_view body) {
    WipedText digits;
    digits.reserve(body.size());
    std::copy_if(body.begin(), body.end(), std::back_inserter(digits), [](char c) { return !text::isWhiteSpace(c); });
    return text::decodeBase64({digits.data(), digits.size()});
}

/// `text` begins behind "-----BEGIN " and is moved behind the block.
PemBlock takeBlock(std::string_view& text, const std::string& name) {
    std::string_view line = takeLine(text);
    const std::size_t dashes = line.find(kDashes);
    if (dashes == std::string_view::npos) {
        throw UsageError(name + ": a line \"-----BEGIN\" is not complete");
    }
    PemBlock block;
    block.label = line.substr(0, dashes);
    const std::string ending = std::string(kEnd) + block.label + std::string(kDashes);
    const std::size_t end = text.find(ending);
    if (end == std::string_view::npos) {
        throw UsageError(name + ": the line \"" + ending + "\" is missing; the file may have been cut");
    }
    std::string_view body = text.substr(0, end);
    text.remove_prefix(end + ending.size());
    block.isEncrypted = skipHeaders(body);
    if (!block.isEncrypted) {
        block.bytes = decode(body);
        if (block.bytes.isNull()) {
            throw UsageError(name + ": between the lines \"BEGIN " + block.label + "\" and \"END " + block.label +
                             "\" is no Base64");
        }
    }
    return block;
}

} // namespace

bool isPem(ByteView file) noexcept {
    return textOf(file).find(kBegin) != std::string_view::npos;
}

std::vector<PemBlock> readPem(ByteView file, const std::string& name) {
    std::vector<PemBlock> blocks;
    std::string_view text = textOf(file);
    for (std::size_t begin = text.find(kBegin); begin != std::string_view::npos; begin = text.find(kBegin)) {
        text.remove_prefix(begin + kBegin.size());
        blocks.push_back(takeBlock(text, name));
    }
    return blocks;
}

std::string writePem(std::string_view label, ByteView der) {
    std::wstring digits(text::base64Length(der.size()), L'\0');
    text::encodeBase64(der, digits.data());
    std::string pem = std::string(kBegin) + std::string(label) + std::string(kDashes) + "\n";
    for (std::size_t i = 0; i < digits.size(); i += kLineLength) {
        const std::wstring_view line = std::wstring_view(digits).substr(i, kLineLength);
        std::transform(line.begin(), line.end(), std::back_inserter(pem),
                       [](wchar_t c) { return static_cast<char>(c); });
        pem += '\n';
    }
    return pem + std::string(kEnd) + std::string(label) + std::string(kDashes) + "\n";
}

} // namespace host::x509

#include "host/scripts/Secrets.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/MaskedSecret.h"
#include "platform/Console.h"
#include "platform/Process.h"
#include "platform/Program.h"
#include "platform/Streams.h"

namespace host {

namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20;
constexpr std::size_t kLargestSecret = std::size_t{64} << 10;
constexpr std::size_t kLongestLine = 4096;

/// Everything up to the end of `stream`; nothing when it cannot be read, UsageError when it is more than `limit`.
std::optional<WipedBytes> readAll(platform::InputStream& stream, std::size_t limit, const std::string& what) {
    WipedBytes bytes(4096);
    std::size_t length = 0;
    for (;;) {
        if (length == bytes.size()) {
            bytes.resize(bytes.size() * 2);
        }
        const std::optional<std::size_t> count = stream.read(bytes.data() + length, bytes.size() - length);
        if (!count) {
            endIfInterrupted();
            return std::nullopt;
        }
        length += *count;
        if (length > limit) {
            throw UsageError(what + " is larger than " + std::to_string(limit) + " bytes");
        }
        if (*count == 0) {
            bytes.resize(length);
            return bytes;
        }
    }
}

enum class Rights { Any, OwnerOnly };

WipedBytes readFileUpTo(const std::string& path, std::size_t limit, Rights rights = Rights::Any) {
    const std::string what = "file \"" + path + "\"";
    std::optional<platform::InputStream> stream = platform::InputStream::open(path);
    std::optional<WipedBytes> bytes;
    if (stream && rights == Rights::OwnerOnly && stream->isOpenToOthers()) {
        throw UsageError(what + " is open to others than its owner; take their rights away (chmod 600), and change the "
                                "secret if somebody may have read it");
    }
    if (stream) {
        bytes = readAll(*stream, limit, what);
    }
    if (!bytes) {
        throw UsageError("cannot read " + what + ": " + platform::InputStream::lastError());
    }
    return std::move(*bytes);
}

WipedBytes refuseEmpty(WipedBytes secret, const std::string& what) {
    if (secret.empty()) {
        throw UsageError(what + " is empty; a secret is expected there");
    }
    return secret;
}

void cutLineEnd(WipedBytes& text) {
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    if (!text.empty() && text.back() == '\r') {
        text.pop_back();
    }
}

/// The first line of a text, for a secret that is kept in a file or printed by a program.
WipedBytes firstLineOf(WipedBytes text, const std::string& what) {
    const std::string_view view = charactersOf(text);
    // Windows programs write it; as a PIN its bytes would cost a try.
    if (view.substr(0, 2) == "\xFF\xFE" || view.substr(0, 2) == "\xFE\xFF") {
        throw UsageError(what + " is UTF-16; write it as UTF-8");
    }
    if (view.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        text.erase(text.begin(), text.begin() + kByteOrderMark.size());
    }
    const auto end = std::find(text.begin(), text.end(), '\n');
    text.erase(end == text.end() ? end : end + 1, text.end());
    cutLineEnd(text);
    return refuseEmpty(std::move(text), "the first line of " + what);
}

} // namespace

WipedBytes readFile(const std::string& path) {
    return readFileUpTo(path, kLargestFile);
}

WipedBytes secretFromEnvironment(const std::string& name) {
    // A variable is removed when it is read, and a job may name it again.
    static std::map<std::string, MaskedSecret> s_taken;
    if (const auto taken = s_taken.find(name); taken != s_taken.end()) {
        return taken->second.value();
    }
    const std::string what = "environment variable \"" + name + "\"";
    std::optional<WipedBytes> value = platform::environmentVariable(name.c_str());
    if (!value) {
        throw UsageError(what + " is not set");
    }
    if (value->size() > kLargestSecret) {
        throw UsageError(what + " is larger than " + std::to_string(kLargestSecret) + " bytes");
    }
    *value = refuseEmpty(std::move(*value), what);
    s_taken.emplace(name, MaskedSecret({value->data(), value->size()}));
    platform::removeEnvironmentVariable(name.c_str());
    return std::move(*value);
}

WipedBytes secretFromPrompt(const std::string& question) {
    WipedBytes line(kLongestLine);
    const std::optional<std::size_t> length = platform::readLineWithoutEcho(question.c_str(), line.data(), line.size());
    if (!length) {
        endIfInterrupted();
        throw UsageError("no answer from a terminal; where nobody can type, give the secret with \"env:NAME\", "
                         "\"secret:PATH\" or \"fd:N\"");
    }
    line.resize(*length);
    return refuseEmpty(std::move(line), "the answer");
}

WipedBytes secretFromFile(const std::string& path) {
    return firstLineOf(readFileUpTo(path, kLargestSecret), "file \"" + path + "\"");
}

WipedBytes secretFromPrivateFile(const std::string& path) {
    return firstLineOf(readFileUpTo(path, kLargestSecret, Rights::OwnerOnly), "file \"" + path + "\"");
}

WipedBytes secretFromCommand(const std::string& program) {
    const std::string what = "the program \"" + program + "\"";
    std::optional<platform::Program> started = platform::Program::start({program});
    if (!started) {
        throw UsageError("cannot start " + what + ": " + platform::Program::lastError());
    }
    std::optional<WipedBytes> text = readAll(started->output(), kLargestSecret, "what " + what + " prints");
    const int status = started->wait();
    endIfInterrupted();
    if (!text || status != 0) {
        throw UsageError(what + " was to print a secret and ended with status " + std::to_string(status));
    }
    return firstLineOf(std::move(*text), "what " + what + " prints");
}

WipedBytes secretFromDescriptor(std::string_view number) {
    int descriptor = -1;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), descriptor);
    if (error != std::errc() || end != number.data() + number.size() || descriptor < 0) {
        throw UsageError("a descriptor is a number such as 3");
    }
    if (descriptor == 1 || descriptor == 2) {
        throw UsageError("descriptors 1 and 2 are outputs; use 0, or 3 and above");
    }
    const std::string what = "descriptor " + std::to_string(descriptor);
    platform::InputStream stream = platform::InputStream::descriptor(descriptor);
    std::optional<WipedBytes> text = readAll(stream, kLargestSecret, what);
    if (!text) {
        throw UsageError("cannot read " + what + ": " + platform::InputStream::lastError());
    }
    cutLineEnd(*text);
    return refuseEmpty(std::move(*text), what + (descriptor == 0 ? " (which in \"run -\" gives the job)" : ""));
}

} // namespace host

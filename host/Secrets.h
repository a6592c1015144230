#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/SecureZero.h"

namespace host {

/// Memory that is overwritten over its whole capacity before it is given back, also when a container grows.
template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() noexcept = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) noexcept {} // NOLINT(google-explicit-constructor): rebinding

    [[nodiscard]] T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept {
        platform::secureZero(static_cast<void*>(block), count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    template <class Other>
    bool operator==(const WipingAllocator<Other>&) const noexcept {
        return true;
    }
};

using WipedBytes = std::vector<char, WipingAllocator<char>>;
using WipedText = std::vector<wchar_t, WipingAllocator<wchar_t>>;

/// Bytes of the file with this UTF-8 name. UsageError when it cannot be read or is larger than 64 MiB.
[[nodiscard]] WipedBytes readFile(const std::string& path);

/// A secret as its UTF-8 bytes, from where it is kept. UsageError when there is none, when it is empty, or when it is
/// longer than 64 KiB.
///
/// Environment: the variable's value. Prompt: a line that a person types at the terminal without echo, after `question`
/// was shown there. File: the first line without its line end. Descriptor: everything up to the end, without one line
/// end there; descriptors 1 and 2 are outputs and refused.
[[nodiscard]] WipedBytes secretFromEnvironment(const std::string& name);
[[nodiscard]] WipedBytes secretFromPrompt(const std::string& question);
[[nodiscard]] WipedBytes secretFromFile(const std::string& path);
[[nodiscard]] WipedBytes secretFromDescriptor(std::string_view number);

} // namespace host

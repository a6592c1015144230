#pragma once

#include <cstddef>
#include <functional>
#include <span>

namespace Secrets {

/// A stack that belongs to the test from end to end, so that what functions left on it can be looked at.
class OwnStack {
public:
    OwnStack();
    OwnStack(const OwnStack&) = delete;
    OwnStack& operator=(const OwnStack&) = delete;
    ~OwnStack();

    /// Fills the stack anew, clears the registers and runs `action` on it. Nothing may leave `action` but its return.
    void run(const std::function<void()>& action);
    /// The bytes that the last run touched.
    [[nodiscard]] std::span<const std::byte> touched() const;

private:
    static constexpr std::size_t kSize = std::size_t{128} << 10;

    std::byte* m_pBytes;
};

} // namespace Secrets

#pragma once

#include <span>

#include "text/SecretBuffer.h"
#include "token/Session.h"

namespace plugin {

/// An attribute to read, and what was read.
struct ReadAttribute {
    CK_ATTRIBUTE_TYPE type;
    SecretBuffer value;
};

/// How many bytes the attributes of one response may still have. The module decides how many objects there are and how
/// long they are, so a bound is needed.
class AttributeBudget {
public:
    static constexpr std::size_t kMostBytes = std::size_t{256} << 20;

    explicit AttributeBudget(std::size_t bytes = kMostBytes) : m_left(bytes) {}

    /// Takes `bytes` out; returns false, and takes nothing, when fewer are left.
    [[nodiscard]] bool take(std::size_t bytes) {
        const bool isEnough = bytes <= m_left;
        m_left -= isEnough ? bytes : 0;
        return isEnough;
    }
    void giveBack(std::size_t bytes) { m_left += bytes; }

private:
    std::size_t m_left;
};

/// Reads attributes of one object: a call for the lengths, one for the values. An invalid length, or one that grew
/// beyond its buffer, fails with CKR_GENERAL_ERROR; a length beyond the memory or the budget with CKR_HOST_MEMORY.
/// The lines of several attributes carry an index ("Template[0]"), those of a single one do not.
[[nodiscard]] CK_RV readAttributes(const Session& session, const Trace& trace, CK_OBJECT_HANDLE hObject,
                                   std::span<ReadAttribute> attributes, AttributeBudget& budget);

} // namespace plugin

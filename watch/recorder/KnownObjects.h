#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "cryptoki/cryptoki.h"
#include "watch/calls/Binding.h"

namespace watch {

/// Which objects may show all their attributes: certificates, public keys and what else holds no key. The class of an
/// object is known from the calls that gave its handle or read its class; every other object counts as a key.
///
/// Knowledge holds in the session in which it was gained. It ends with the session, with each logout, and when any
/// session destroys the object or gets the handle for a new one: handles may mean other objects after that. When memory
/// is short everything is forgotten.
class KnownObjects {
public:
    [[nodiscard]] bool isOpen(Word session, Word object) noexcept;
    /// Learns from a call that has succeeded. `words` are its parameters, `rooms` the lengths of the buffers in the
    /// template that it filled.
    void learn(FunctionId id, Words words, std::span<const CK_ULONG> rooms) noexcept;

    // Around a fork, so that no other thread holds the child's lock.
    void lock() noexcept { m_mutex.lock(); }
    void unlock() noexcept { m_mutex.unlock(); }

private:
    struct Handle {
        Word session;
        Word object;
        bool operator==(const Handle&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Handle& handle) const noexcept {
            return std::hash<Word>()(handle.session * 0x9E3779B97F4A7C15U + handle.object);
        }
    };

    /// `handle` is the address of a new object's handle, or 0.
    void noteNew(Word session, Word handle, bool isOpen);
    void setOpen(const Handle& handle, bool isOpen);
    void learnCall(FunctionId id, Words words, std::span<const CK_ULONG> rooms);
    void learnFound(Words words);
    void learnClass(Words words, std::span<const CK_ULONG> rooms);
    void forgetObject(Word object);
    void forgetSession(Word session);
    void forgetAll() noexcept;

    std::mutex m_mutex;
    std::unordered_set<Handle, Hash> m_open;
    std::unordered_map<Word, bool> m_searches; ///< by session: whether the search finds open objects only
};

} // namespace watch

#pragma once

#include <cstddef>
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
/// Knowledge holds in the session in which it was gained. What is known of an object ends in all sessions when any of
/// them destroys the object, learns that it is or may be a key, or gets the handle for a new one. What is known of all
/// objects ends with each session and each logout. Handles may mean other objects after that. When memory is short
/// everything is forgotten.
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
    [[nodiscard]] bool isKnown(Word session, Word object) const noexcept;
    /// `handle` is the address of a new object's handle, or 0.
    void noteNew(Word session, Word handle, bool isOpen);
    void setOpen(Word session, Word object, bool isOpen);
    void learnCall(FunctionId id, Words words, std::span<const CK_ULONG> rooms);
    void learnFound(Words words);
    void learnClass(Words words, std::span<const CK_ULONG> rooms);
    /// Sessions that end while nobody looks (the card is drawn) give their handles to new ones.
    void learnSession(Word handle);
    void forgetObject(Word object);
    void forgetObjects() noexcept;
    void forgetAll() noexcept;

    std::mutex m_mutex;
    std::unordered_map<Word, std::unordered_set<Word>> m_open; ///< by object: the sessions that know it as open
    std::size_t m_count = 0;                                   ///< of all those sessions
    std::unordered_map<Word, bool> m_sessions; ///< that know something: whether the search finds open objects only
};

} // namespace watch

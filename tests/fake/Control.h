#pragma once

#include "cryptoki/cryptoki.h"
#include "tests/fake/Function.h"

#include <cstddef>

// The scripted module's control as it crosses the border of the library: plain types only. Tests use Fake.h.

namespace Fake {

/// Bytes that live during the call only.
struct Bytes {
    const unsigned char* data;
    std::size_t length;
};
using BytesSink = void (*)(void* context, Bytes bytes);

struct RawSession {
    CK_SESSION_HANDLE handle;
    CK_SLOT_ID slot;
    CK_FLAGS flags;
    CK_STATE state;
    bool searchActive;
    bool signActive;
};
using SessionSink = void (*)(void* context, const RawSession* session);
using ObjectSink = void (*)(void* context, CK_OBJECT_HANDLE handle, CK_SLOT_ID slot, const CK_ATTRIBUTE* attributes,
                            std::size_t attributeCount);

/// Numbers of Role and When are those of Fake.h. Operations that return bool: false means that there is no such slot.
/// Every operation takes the module's lock; sinks are called under it and must not call back.
class Control {
public:
    virtual void reset() = 0;

    virtual CK_SLOT_ID addSlot(Bytes description, bool withToken) = 0;
    virtual bool removeSlot(CK_SLOT_ID slot) = 0;
    virtual void removeAllSlots() = 0;
    virtual bool slotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) = 0;
    virtual bool setSlotInfo(CK_SLOT_ID slot, const CK_SLOT_INFO* info) = 0;
    virtual bool setTokenPresent(CK_SLOT_ID slot, bool present) = 0;
    virtual bool tokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) = 0;
    virtual bool setTokenInfo(CK_SLOT_ID slot, const CK_TOKEN_INFO* info) = 0;
    virtual bool setTokenFlags(CK_SLOT_ID slot, CK_FLAGS set, CK_FLAGS clear) = 0;
    virtual bool setTokenInitialized(CK_SLOT_ID slot, bool initialized) = 0;
    virtual bool setPin(CK_SLOT_ID slot, unsigned role, const Bytes* pin) = 0; ///< null: not initialised
    /// Calls `sink` unless the PIN is not initialised.
    virtual bool pin(CK_SLOT_ID slot, unsigned role, BytesSink sink, void* context) = 0;
    virtual bool setTries(CK_SLOT_ID slot, unsigned role, CK_ULONG left) = 0;
    virtual bool tries(CK_SLOT_ID slot, unsigned role, CK_ULONG* left) = 0;

    virtual bool isInitialized() = 0;
    virtual void setInitialized(bool initialized) = 0;
    virtual void sessions(SessionSink sink, void* context) = 0;
    virtual std::size_t sessionCount() = 0;
    virtual void dropSessions() = 0;
    virtual bool login(CK_SLOT_ID slot, unsigned* role) = 0;
    virtual bool setLogin(CK_SLOT_ID slot, unsigned role) = 0;
    virtual void setSessionState(const CK_STATE* state) = 0; ///< null: the truth

    virtual bool addObject(CK_SLOT_ID slot, const CK_ATTRIBUTE* attributes, std::size_t attributeCount,
                           CK_OBJECT_HANDLE* handle) = 0;
    virtual void objects(ObjectSink sink, void* context) = 0;
    virtual void removeAllObjects() = 0;
    virtual void setNextSessionHandle(CK_SESSION_HANDLE handle) = 0;
    virtual void setNextObjectHandle(CK_OBJECT_HANDLE handle) = 0;

    virtual void calls(BytesSink sink, void* context, bool forget) = 0;
    virtual void setRecording(bool on) = 0;
    virtual unsigned long callCount(const Function* function) = 0; ///< null: of all functions
    virtual void restartCallCount() = 0;

    virtual void answerNext(Function function, CK_RV rv, unsigned times, unsigned when) = 0;
    virtual void passNext(Function function, unsigned times) = 0;
    virtual void answerAlways(Function function, CK_RV rv, unsigned when) = 0;
    virtual void answerCall(unsigned long n, CK_RV rv, unsigned when) = 0;
    virtual void clearAnswers() = 0;
    /// `thunk` is a `CK_RV (*)(void* context, arguments of the function…)`; null takes the hook away.
    virtual void setHook(Function function, void (*thunk)(), void* context) = 0;
    virtual const CK_FUNCTION_LIST* honest() = 0;
    virtual void setNullEntry(Function function, bool null) = 0;
    virtual void setNullList(bool null) = 0;

protected:
    ~Control() = default;
};

/// Name and type of the one function that the library exports beside C_GetFunctionList.
inline constexpr const char* kControlSymbol = "p11fakeControl";
using ControlFunction = Control* (*)();

} // namespace Fake

#pragma once

#include "cryptoki/cryptoki.h"
#include "tests/fake/Attributes.h"
#include "tests/fake/Function.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The scripted PKCS#11 module: how a test looks at it and tells it what to do.
//
// The module is a library of its own (`p11fake`, and `p11fake2`, an independent copy of it under another name; also
// `p11empty`, a library without C_GetFunctionList). It keeps an honest model of slots, tokens, sessions, logins, PIN
// counters and objects in memory, records the calls it gets, and answers as told. A program that links `p11fake` and
// loads the same file by name sees one instance. One lock guards everything: all of this may be used from any thread.
// Hooks run outside the lock.
//
// What stands after `reset` (and at the start)
//   Not initialised. One slot 0x11, "Fake Reader 0", manufacturer "Fake Readers", flags 7, versions 1.2 and 3.4, with
//   an initialised token: label "Fake Token", manufacturer "Fake Tokens", model "Fake Model", serial number
//   "0000000000000011", versions 5.6 and 7.8, flags RNG, LOGIN_REQUIRED, USER_PIN_INITIALIZED, TOKEN_INITIALIZED
//   (0x40D); SO PIN "12345678", user PIN "1234", 3 tries each, PIN lengths 4 to 255; no objects. Further slots get the
//   IDs 0x12, 0x13 … Session handles count from 0x1, object handles from 0x101; none is used twice. Recording on.
//   C_GetInfo: Cryptoki 2.40, manufacturer "Fake Tokens", library "Fake PKCS#11 Module" 1.0. No answers, hooks, quirks.
//
// Where the model is simpler than a token: a signature is the block that RSA would encrypt, 00 01 FF … FF 00 and the
// data with every byte inverted, as long as the modulus, so that a test can state it; C_GenerateKeyPair makes the
// modulus `C0 pp 02 03 04 …` with pp the number of the pair (from 1), byte n holding n mod 256 and the last byte 01;
// any vendor attribute is accepted; a logout leaves an open search open; a template that names an attribute twice is
// CKR_TEMPLATE_INCONSISTENT; functions that issue no credentials answer CKR_FUNCTION_NOT_SUPPORTED. PINs and attribute
// values do not stand in the module's memory as they are, so a scan for secrets does not find them here (but the lines
// of the record hold them: turn it off for such a scan).
//
// Recorded calls are one line each, the same on every system:
//
//   C_GetFunctionList()                 C_Initialize(null)           C_Initialize(flags=0x2)      C_Finalize(null)
//   C_GetInfo()                         C_GetSlotList(0, null)       C_GetSlotList(0, room=2)     C_GetSlotInfo(0x11)
//   C_GetTokenInfo(0x11)                C_OpenSession(0x11, flags=0x6)                            C_CloseSession(0x1)
//   C_GetSessionInfo(0x1)               C_Login(0x1, CKU_USER, 31323334)                          C_Logout(0x1)
//   C_InitToken(0x11, 3132, label=41…20)                             C_InitPIN(0x1, 31)           C_SetPIN(0x1, 31, 32)
//   C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=true CKA_VALUE=3082])                        C_DestroyObject(0x1, 0x101)
//   C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=01])   C_FindObjects(0x1, max=1)             C_FindObjectsFinal(0x1)
//   C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])            … the second pass: [CKA_MODULUS=room/128]
//   C_SetAttributeValue(0x1, 0x101, [0x80000008=616263])
//   C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=true], [CKA_TOKEN=true])
//   C_SignInit(0x1, CKM_RSA_PKCS, 0x101)              C_Sign(0x1, 3031, null)               C_Sign(0x1, 3031, room=128)
//   any other function: its name with "(...)"
//
//   handle, slot, flags   0x… in lower case; with all bits of the type set `none`
//   bytes                 upper-case hexadecimal; null pointer with length n `null/n`; length 0 behind a pointer
//   `empty`;
//                         length CK_UNAVAILABLE_INFORMATION `unreadable/none`
//   template              [] or [name=value name=value]; a null template with count n `null/n`; unknown types as 0x…
//   value of a template   CK_ULONG attributes in decimal (all bits set: `none`), booleans `true` or `false`, others as
//                         bytes; a CK_ULONG or boolean of another length, or a boolean that is neither 0 nor 1, as
//                         bytes with the length: `CKA_TOKEN=0100/2`
//   mechanism             its name or 0x…, with a parameter `CKM_X(bytes)`; a null pointer `null`
//   rarities              C_Initialize(flags=0x2, mutexes), C_Initialize(flags=0x2, reserved), C_Finalize(reserved),
//                         C_OpenSession(0x11, flags=0x6, application, notify); an output pointer that is null appears
//                         as a last argument `null`: C_GetInfo(null), C_GetSlotList(0, null, null)

namespace Fake {

/// File names of the libraries, to be passed as "DLLNAME" (UTF-8). On Linux with the folder of the build.
[[nodiscard]] std::string moduleFile();       ///< p11fake, the module behind `module()`
[[nodiscard]] std::string secondModuleFile(); ///< p11fake2
[[nodiscard]] std::string emptyModuleFile();  ///< p11empty

inline constexpr CK_SLOT_ID kSlot = 0x11;
inline constexpr const char* kReader = "Fake Reader 0";
inline constexpr const char* kSoPin = "12345678";
inline constexpr const char* kUserPin = "1234";

/// Whether an answer comes in place of the model's work or after it.
enum class When : unsigned {
    Before, ///< the model does nothing, output arguments stay as they are
    After,  ///< the model (or the hook) acts and writes its outputs; only its result is replaced
};

enum class Role : unsigned { Nobody, User, SecurityOfficer };

struct SessionState {
    CK_SESSION_HANDLE handle;
    CK_SLOT_ID slot;
    CK_FLAGS flags; ///< as given to C_OpenSession
    CK_STATE state; ///< CKS_…
    bool searchActive;
    bool signActive;
    bool operator==(const SessionState&) const = default;
};

struct ObjectState {
    CK_OBJECT_HANDLE handle;
    CK_SLOT_ID slot;
    Attributes attributes; ///< in the order in which they were given, the model's own behind them
};

class Control;

/// One instance of the module. Copies of this object mean the same instance. Slot arguments that name no slot throw
/// std::out_of_range.
class Module {
public:
    explicit Module(Control& control) : m_pControl(&control) {}

    /// Back to the state described above.
    void reset();

    // Slots and tokens. Texts are blank padded and cut to their field; they may hold any bytes.
    CK_SLOT_ID addSlot(std::string_view description, bool withToken = true);
    void removeSlot(CK_SLOT_ID slot);
    void removeAllSlots();
    void setDescription(CK_SLOT_ID slot, std::string_view description);
    [[nodiscard]] CK_SLOT_INFO slotInfo(CK_SLOT_ID slot) const;
    /// All of it; CKF_TOKEN_PRESENT is the model's own.
    void setSlotInfo(CK_SLOT_ID slot, const CK_SLOT_INFO& info);
    /// The token leaves: its sessions end and its session objects go; insertToken brings the same token back.
    void removeToken(CK_SLOT_ID slot = kSlot);
    void insertToken(CK_SLOT_ID slot = kSlot);
    /// As C_GetTokenInfo would answer.
    [[nodiscard]] CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot = kSlot) const;
    /// Label, manufacturer, model, serial number, versions, time, memory and PIN lengths (which the model keeps to).
    /// Session counts and the flags of TOKEN_INITIALIZED, USER_PIN_INITIALIZED and of the PIN counters stay the
    /// model's.
    void setTokenInfo(CK_SLOT_ID slot, const CK_TOKEN_INFO& info);
    /// What C_GetTokenInfo reports besides the model's truth: bits always set, bits never set. The model itself goes
    /// by its counters. setTokenFlags(slot, 0) undoes it.
    void setTokenFlags(CK_SLOT_ID slot, CK_FLAGS set, CK_FLAGS clear = 0);
    void setUserPin(std::string_view pin, CK_SLOT_ID slot = kSlot);
    void clearUserPin(CK_SLOT_ID slot = kSlot); ///< not initialised
    void setSoPin(std::string_view pin, CK_SLOT_ID slot = kSlot);
    [[nodiscard]] std::optional<std::string> userPin(CK_SLOT_ID slot = kSlot) const; ///< nullopt: not initialised
    [[nodiscard]] std::string soPin(CK_SLOT_ID slot = kSlot) const;
    /// Wrong PINs that are still allowed (0: locked). COUNT_LOW below 3, FINAL_TRY at 1, LOCKED at 0.
    void setTries(Role role, CK_ULONG left, CK_SLOT_ID slot = kSlot);
    [[nodiscard]] CK_ULONG tries(Role role, CK_SLOT_ID slot = kSlot) const;
    void setTokenInitialized(bool initialized, CK_SLOT_ID slot = kSlot);

    // Sessions and login
    [[nodiscard]] bool isInitialized() const;
    void setInitialized(bool initialized); ///< true: as if another part of the process had called C_Initialize
    [[nodiscard]] std::vector<SessionState> sessions() const;
    [[nodiscard]] std::size_t sessionCount() const;
    /// All sessions end behind the caller's back; their handles are invalid from now on.
    void dropSessions();
    [[nodiscard]] Role login(CK_SLOT_ID slot = kSlot) const;
    void setLogin(Role role, CK_SLOT_ID slot = kSlot);
    /// What C_GetSessionInfo reports as state in place of the truth; nullopt: the truth.
    void setSessionState(std::optional<CK_STATE> state);

    // Objects
    /// Adds a token object (session object where CKA_TOKEN is false) without any check. Missing CKA_TOKEN is true,
    /// missing CKA_PRIVATE is false here.
    CK_OBJECT_HANDLE addObject(const Attributes& attributes, CK_SLOT_ID slot = kSlot);
    /// Every object, of all slots, in order of creation.
    [[nodiscard]] std::vector<ObjectState> objects() const;
    /// The attributes of one object; nullopt when there is none (any more).
    [[nodiscard]] std::optional<Attributes> object(CK_OBJECT_HANDLE handle) const;
    void removeAllObjects();
    /// The next session (object) gets this handle, later ones count on from it.
    void setNextSessionHandle(CK_SESSION_HANDLE handle);
    void setNextObjectHandle(CK_OBJECT_HANDLE handle);

    // The record
    [[nodiscard]] std::vector<std::string> calls() const;
    std::vector<std::string> takeCalls(); ///< and forgets them
    void setRecording(bool on);           ///< off: no line is built
    /// Calls since reset or restartCallCount, recorded or not. `count(f)`: of one function.
    [[nodiscard]] unsigned long callCount() const;
    [[nodiscard]] unsigned long callCount(Function function) const;
    void restartCallCount();

    // Answers. The first that fits wins: by number, queued, always, hook, model. C_GetFunctionList counts as a call.
    /// The next `times` calls of this function; queues behind what is queued already. CKR_OK with When::Before is a
    /// success that does nothing and writes nothing.
    void answerNext(Function function, CK_RV rv, unsigned times = 1, When when = When::Before);
    void answerAlways(Function function, CK_RV rv, When when = When::Before);
    /// The n-th call overall from now on (1: the next one). Any number of them may be set.
    void answerCall(unsigned long n, CK_RV rv, When when = When::Before);
    /// Lets `times` calls of this function pass unanswered before what is queued next.
    void passNext(Function function, unsigned times = 1);
    void clearAnswers(); ///< answers only; hooks and quirks stay

    /// Replaces a function: `hook<Function::C_Login>([&](CK_SESSION_HANDLE, …) -> CK_RV {…})`. The call is recorded and
    /// counted as always. The hook may call `honest()`, the plug-in or this object. It must stay set while calls run.
    template <Function F>
    void hook(std::function<Signature<F>> function) {
        setHook(F, Thunk<Signature<F>>::address(), std::make_shared<std::function<Signature<F>>>(std::move(function)));
    }
    void unhook(Function function);
    /// The model's own functions: not recorded, not counted, no answers, no hooks.
    [[nodiscard]] const CK_FUNCTION_LIST& honest() const;

    // The function list that C_GetFunctionList hands out from now on (also the one already handed out)
    void setNullEntry(Function function, bool null = true);
    void setNullList(bool null = true); ///< C_GetFunctionList answers CKR_OK and a null pointer

private:
    template <class F>
    struct Thunk;
    template <class... Arguments>
    struct Thunk<CK_RV(Arguments...)> {
        using Target = std::function<CK_RV(Arguments...)>;
        static CK_RV call(void* context, Arguments... arguments) {
            return (*static_cast<Target*>(context))(arguments...);
        }
        static void (*address())() { return reinterpret_cast<void (*)()>(&call); }
    };

    void setHook(Function function, void (*thunk)(), std::shared_ptr<void> target);

    Control* m_pControl;
};

/// The linked instance, `p11fake`.
[[nodiscard]] Module module();
/// The instance in `p11fake2`; loaded on first use and kept loaded.
[[nodiscard]] Module secondModule();

} // namespace Fake

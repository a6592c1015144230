#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/inspect/ObjectView.h"
#include "host/inspect/TokenView.h"

namespace host {

/// A call of the module that failed while it was only looked at.
class ModuleError : public std::runtime_error {
public:
    /// `result` is the standard's name, "CKR_DEVICE_ERROR".
    ModuleError(std::string function, std::string result);

    [[nodiscard]] const std::string& function() const noexcept { return m_function; }
    [[nodiscard]] const std::string& result() const noexcept { return m_result; }

private:
    std::string m_function;
    std::string m_result;
};

/// What a token can do; sizes in bits, 0 where the token does not say.
struct MechanismView {
    std::uint64_t number = 0;
    std::uint64_t smallestKey = 0;
    std::uint64_t largestKey = 0;
    bool generatesKeyPairs = false;
    bool signs = false;
};

/// CKM_RSA_PKCS_KEY_PAIR_GEN and CKM_RSA_PKCS.
inline constexpr std::uint64_t kRsaKeyPairs = 0;
inline constexpr std::uint64_t kRsaPkcs = 1;

/// A read-only view of a PKCS #11 module beside the plug-in's own. It never logs in and writes nothing. A session is
/// open only while `objects` runs: one that stays open would keep scripts from initialising a token or logging the
/// security officer in.
///
///     const ModuleView view("libsofthsm2.so");
///     for (const SlotView& slot : view.slots()) { ... }
///
/// Make it after the executor and let it go before: whoever initialised the module is the one who finalises it. Its
/// operations may be called from several threads.
class ModuleView {
public:
    /// Loads the module with this UTF-8 file name. PluginError when it cannot be loaded or is no module, ModuleError
    /// when it does not initialise.
    explicit ModuleView(const std::string& module);
    ModuleView(const ModuleView&) = delete;
    ModuleView& operator=(const ModuleView&) = delete;
    ~ModuleView();

    /// All slots, each with its token. ModuleError when the module does not list them.
    [[nodiscard]] std::vector<SlotView> slots() const;
    /// The numbers of all slots. ModuleError as above.
    [[nodiscard]] std::vector<std::uint64_t> slotNumbers() const;
    /// One slot anew.
    [[nodiscard]] SlotView slot(std::uint64_t id) const;
    /// What the token in the slot can do; empty when it does not tell.
    [[nodiscard]] std::vector<MechanismView> mechanisms(std::uint64_t slot) const;
    /// The token's objects in the module's order: the public ones, and the private ones too while the user is logged
    /// in. ModuleError when they cannot be read.
    [[nodiscard]] std::vector<ObjectView> objects(std::uint64_t slot) const;

private:
    struct Module;
    std::unique_ptr<Module> m_module;
};

} // namespace host

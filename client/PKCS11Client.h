#pragma once

#include "client/AccessValues.h"
#include "client/ScriptContext.h"
#include "platform/DynamicLibrary.h"
#include "token/Session.h"
#include "token/Slots.h"
#include "zel/ClientOperationExecutor.h"

/// The executor: binds one Cryptoki module, keeps the host's access values and the one session, and runs the scripts.
/// newInstance makes it; freeInstance ends it through slot 1 (or 0) of its table. Only one thread at a time may use it.
///
/// Failures of the token never throw; the output parameter "ERROR" reports them. Failed preconditions and malformed
/// access parameters throw ClientOperationException with code 33004, lack of memory for the answer with 33014.
class PKCS11Client final : public Zel::BaseDLLObjectImpl<Zel::ClientOperationExecutor> {
public:
    /// The script type that execute requires, and what getType answers.
    static constexpr const wchar_t* kScriptType = L"client.p11.Larkspur";

    /// Binds the module and initialises Cryptoki. A failure is only traced: the object is then not ready, and every
    /// operation says so. `readerPrefix` is hexadecimal text. `scripts` lives as long as the process.
    PKCS11Client(platform::DynamicLibrary library, Zel::TString libraryName, Zel::TString readerPrefix,
                 std::span<const plugin::ScriptEntry> scripts);
    PKCS11Client(const PKCS11Client&) = delete;
    PKCS11Client& operator=(const PKCS11Client&) = delete;
    /// Closes the session, finalises Cryptoki when this object initialised it and is the library's last user, and
    /// unloads the library. Throws nothing; only the unwinding of a thread that is cancelled inside the module passes.
    ~PKCS11Client() noexcept(false);

    // Lifecycle
    void* deletingDestructor(unsigned int flags) override;
    void initialize(Zel::Vector<Zel::Parameter>* accessParams, Zel::Vector<Zel::Parameter>* runtimeParameters) override;
    void terminate() override;

    // Dispatch
    [[nodiscard]] Zel::ClientOperationResponse* execute(Zel::ClientOperation* operation) override;
    [[nodiscard]] Zel::Vector<Zel::TString>* getSupportedScripts() override;

    // Identity
    [[nodiscard]] Zel::TString getVersion() override;
    [[nodiscard]] Zel::TString getType() override;
    [[nodiscard]] Zel::TString getName() override;
    [[nodiscard]] Zel::TString getDescription() override;
    [[nodiscard]] bool validate() override;
    [[nodiscard]] bool isLocal() override;

private:
    void initializeModule(const plugin::Trace& trace);
    void closeSessionForGood(const plugin::Trace& trace);
    void finalizeModule(const plugin::Trace& trace, int usersBefore);
    void begin(const plugin::Trace& trace, const Zel::Vector<Zel::Parameter>* accessParams,
               const Zel::Vector<Zel::Parameter>* runtimeParameters);
    void traceOperation(const plugin::Trace& trace, const Zel::ClientOperation& operation) const;
    void runOperation(const plugin::Trace& trace, const Zel::ClientOperation& operation,
                      const Zel::Vector<Zel::Parameter>* params, Zel::Vector<Zel::Parameter>& outputs);
    /// Returns false when there is no script of that name.
    bool runScript(const Zel::TString& name, const Zel::Vector<Zel::Parameter>* params,
                   Zel::Vector<Zel::Parameter>& outputs);

    // The library is the first member, so that it is unloaded last.
    platform::DynamicLibrary m_library;
    Zel::TString m_tsLibraryName;
    std::span<const plugin::ScriptEntry> m_scripts;
    plugin::Cryptoki m_cryptoki;
    plugin::Slots m_slots;
    plugin::Session m_session{m_cryptoki};
    plugin::AccessValues m_access;
    bool m_isTerminated = false;   ///< initialize may be called
    bool m_isReady = false;        ///< the library is bound and Cryptoki is initialised
    bool m_isFinalizeOwed = false; ///< this object's own C_Initialize succeeded
};

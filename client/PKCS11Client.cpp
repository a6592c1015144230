#include <new>
#include <utility>

#include "client/Failure.h"
#include "client/InstanceCounts.h"
#include "client/PKCS11Client.h"

using namespace plugin;

namespace {

void traceAccessValues(const Trace& trace, const AccessValues& access) {
    if (!Trace::isEnabled(TraceLevel::Value)) {
        return;
    }
    trace.write(TraceLevel::Value, L": m_tsCurrentReader=%ws", access.currentReader());
    trace.write(TraceLevel::Value, L": m_tsAlgoId=%ws", access.algoId());
    trace.write(TraceLevel::Value, L": m_tsKeyId=%ws", access.keyId());
    trace.write(TraceLevel::Value, L": m_tsDataToSign=%ws", access.dataToSign());
}

} // namespace

PKCS11Client::PKCS11Client(platform::DynamicLibrary library, Zel::TString libraryName, Zel::TString readerPrefix,
                           std::span<const ScriptEntry> scripts)
    : m_library(std::move(library)), m_tsLibraryName(std::move(libraryName)), m_scripts(scripts),
      m_slots(m_cryptoki, readerPrefix) {
    traced(L"PKCS11Client", [this](const Trace& trace) {
        m_cryptoki.bind(trace, m_library);
        // A function list is used also when C_GetFunctionList returned it together with a failure.
        if (m_cryptoki.isBound()) {
            initializeModule(trace);
        }
    });
}

void PKCS11Client::initializeModule(const Trace& trace) {
    CK_C_INITIALIZE_ARGS args{};
    args.flags = CKF_OS_LOCKING_OK;
    const CallStyle style{.failure = CallStyle::Failure::Lifetime, .tolerated = CKR_CRYPTOKI_ALREADY_INITIALIZED};
    const CK_RV rv = CryptokiCall(m_cryptoki, trace, cryptoki::initialize, style).run(&args);
    if (rv != CKR_OK && rv != CKR_CRYPTOKI_ALREADY_INITIALIZED) {
        return;
    }
    m_isFinalizeOwed = rv == CKR_OK;
    m_isReady = true;
    m_isTerminated = true;
}

void* PKCS11Client::deletingDestructor(unsigned int flags) {
    return runDestructor(this, flags);
}

PKCS11Client::~PKCS11Client() noexcept(false) {
    traced(L"~PKCS11Client", [this](const Trace& trace) {
        const int usersBefore = instances::remove(m_tsLibraryName);
        trace.write(TraceLevel::Value, L":  InstancesCount = %d (%ws)", usersBefore - 1, m_tsLibraryName);
        if (m_isReady) {
            closeSessionForGood(trace);
            finalizeModule(trace, usersBefore);
        } else {
            trace.write(TraceLevel::Call, L" : Plugin is not ready.");
        }
        trace.write(TraceLevel::Value, L": Releasing CryptoLib");
        m_library.unload();
    });
}

void PKCS11Client::closeSessionForGood(const Trace& trace) {
    if (!m_session.isOpen()) {
        return;
    }
    static_cast<void>(m_session.call(trace, cryptoki::closeSession, kLifetime).run(m_session.handle()));
}

void PKCS11Client::finalizeModule(const Trace& trace, int usersBefore) {
    // Only the object that initialised the module may finalise it, and only as its last user. When that object is freed
    // before the others, nothing finalises the module.
    if (!m_isFinalizeOwed || usersBefore != 1) {
        trace.write(TraceLevel::Call, L": C_Finalize not needed");
        return;
    }
    static_cast<void>(CryptokiCall(m_cryptoki, trace, cryptoki::finalize, kLifetime).run(nullptr));
}

void PKCS11Client::initialize(Zel::Vector<Zel::Parameter>* accessParams,
                              Zel::Vector<Zel::Parameter>* runtimeParameters) {
    traced(L"initialize", [&](const Trace& trace) { begin(trace, accessParams, runtimeParameters); });
}

void PKCS11Client::begin(const Trace& trace, const Zel::Vector<Zel::Parameter>* accessParams,
                         const Zel::Vector<Zel::Parameter>* runtimeParameters) {
    const auto sizeOf = [](const Zel::Vector<Zel::Parameter>* params) {
        return params == nullptr ? -1 : static_cast<int>(params->size());
    };
    trace.write(TraceLevel::Value, L": --> Input Param accessParams %d items", sizeOf(accessParams));
    trace.write(TraceLevel::Value, L": --> Input Param runtimeParameters %d items", sizeOf(runtimeParameters));
    if (!m_isReady) {
        trace.failure(L": Plugin not validated");
        throwFailure(L"Plugin not validated");
    }
    if (!m_isTerminated) {
        trace.failure(L": Plugin not terminated");
        throwFailure(L"Plugin not terminated");
    }
    // Values of an earlier initialize stay unless this call overwrites them.
    try {
        m_access.readForInitialize(accessParams, runtimeParameters);
        traceAccessValues(trace, m_access);
    } catch (const std::bad_alloc&) {
        throwOutOfMemory();
    }
    m_isTerminated = false;
}

void PKCS11Client::terminate() {
    traced(L"terminate", [this](const Trace& trace) {
        if (!m_isReady) {
            trace.failure(L" : Plugin is not validated");
            return;
        }
        m_isTerminated = true;
        const CK_RV rv = m_session.closeSession();
        if (rv != CKR_OK) {
            trace.failed(L"C_CloseSession", rv);
        }
    });
}

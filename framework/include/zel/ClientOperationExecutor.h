#pragma once

#include "zel/BaseDLLInterface.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationResponse.h"
#include "zel/Parameter.h"
#include "zel/TString.h"
#include "zel/Vector.h"

namespace Zel {

/// The executor that a host uses: twelve virtual operations. Their order is the contract (slots 0 and 1 are the
/// base's).
class ClientOperationExecutor : public BaseDLLInterface {
public:
    /// Both vectors may be null; the caller keeps them. Throws ClientOperationException.
    virtual void initialize(Vector<Parameter>* accessParams, Vector<Parameter>* runtimeParameters) = 0; // slot 2
    /// The response is the caller's (`destroy`); null for a null operation. Throws ClientOperationException.
    [[nodiscard]] virtual ClientOperationResponse* execute(ClientOperation* operation) = 0; // slot 3
    virtual void terminate() = 0;                                                           // slot 4
    [[nodiscard]] virtual TString getVersion() = 0;                                         // slot 5
    [[nodiscard]] virtual TString getType() = 0;                                            // slot 6
    [[nodiscard]] virtual TString getName() = 0;                                            // slot 7
    [[nodiscard]] virtual TString getDescription() = 0;                                     // slot 8
    /// A new vector, the caller's (`destroy`).
    [[nodiscard]] virtual Vector<TString>* getSupportedScripts() = 0; // slot 9
    [[nodiscard]] virtual bool validate() = 0;                        // slot 10
    [[nodiscard]] virtual bool isLocal() = 0;                         // slot 11

protected:
    ~ClientOperationExecutor() = default;
};

} // namespace Zel

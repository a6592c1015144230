#pragma once

#include "zel/BaseDLLInterface.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace Zel {

/// What a host asks an executor to do: implemented by the host, read by the executor during `execute` only.
class ClientOperation : public BaseDLLInterface {
public:
    /// The host's own name for this operation; comes back in the response.
    [[nodiscard]] virtual TString getId() const = 0;
    /// Which family of scripts is meant, for example "client.p11.Larkspur".
    [[nodiscard]] virtual TString getScriptType() const = 0;
    [[nodiscard]] virtual TString getScript() const = 0;
    /// A new vector that the caller owns and destroys, or null when the operation has no parameters at all.
    [[nodiscard]] virtual Vector<Parameter>* getParameters() const = 0;

protected:
    ~ClientOperation() = default;
};

} // namespace Zel

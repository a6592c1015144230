#pragma once

#include "zel/BaseDLLInterface.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace Zel {

/// An operation that a host gives to an executor: the host implements it, the executor reads it during `execute` only.
class ClientOperation : public BaseDLLInterface {
public:
    /// The host's id of this operation; the response repeats it.
    [[nodiscard]] virtual TString getId() const = 0;
    /// The family of scripts, for example "client.p11.Larkspur".
    [[nodiscard]] virtual TString getScriptType() const = 0;
    [[nodiscard]] virtual TString getScript() const = 0;
    /// A new vector that the caller owns and destroys, or null when the operation has no parameters at all.
    [[nodiscard]] virtual Vector<Parameter>* getParameters() const = 0;

protected:
    ~ClientOperation() = default;
};

} // namespace Zel

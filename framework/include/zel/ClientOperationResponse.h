#pragma once

#include "zel/BaseDLLInterface.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace Zel {

/// The result of one `execute`: the operation's id and the output parameters. Made with `new` (framework heap) by the
/// executor, owned by the host, released with `destroy`.
class ZEL_VEX_API ClientOperationResponse final : public BaseDLLObjectImpl<BaseDLLInterface> {
public:
    ClientOperationResponse();
    ClientOperationResponse(const ClientOperationResponse&) = delete;
    ClientOperationResponse& operator=(const ClientOperationResponse&) = delete;
    ~ClientOperationResponse();

    void* deletingDestructor(unsigned int flags) override;

    void setId(const TString& id);
    [[nodiscard]] const TString& getId() const noexcept { return m_tsId; }

    /// Keeps a copy of `parameters`.
    void setResponseParameters(const Vector<Parameter>& parameters);
    /// Owned by the response.
    [[nodiscard]] const Vector<Parameter>& getResponseParameters() const noexcept { return m_parameters; }

private:
    TString m_tsId;
    Vector<Parameter> m_parameters;
};

} // namespace Zel

#include "scripts/common/Parameters.h"

#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

const Zel::Parameter* firstNamed(const Zel::Vector<Zel::Parameter>& params, std::wstring_view id) {
    for (const Zel::Parameter& parameter : elements(params)) {
        if (equals(parameter.getId(), id)) {
            return &parameter;
        }
    }
    return nullptr;
}

} // namespace plugin

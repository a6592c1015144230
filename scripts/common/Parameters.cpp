#include "scripts/common/Parameters.h"

#include "util/Elements.h"
#include "util/Texts.h"

const Zel::Parameter* scripts::firstNamed(const Zel::Vector<Zel::Parameter>& params, std::wstring_view id) {
    for (const Zel::Parameter& parameter : elements(params)) {
        if (equals(parameter.getId(), id)) {
            return &parameter;
        }
    }
    return nullptr;
}

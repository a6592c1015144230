#include "scripts/common/Parameters.h"

#include "util/Texts.h"

const Zel::Parameter* scripts::firstNamed(const Zel::Vector<Zel::Parameter>& params, std::wstring_view id) {
    for (std::uint32_t i = 0; i < params.size(); ++i) {
        if (equals(params.at(i)->getId(), id)) {
            return params.at(i);
        }
    }
    return nullptr;
}

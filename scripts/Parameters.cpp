#include "scripts/Parameters.h"

const Zel::Parameter* scripts::firstNamed(const Zel::Vector<Zel::Parameter>& params, const wchar_t* id) {
    for (std::uint32_t i = 0; i < params.size(); ++i) {
        if (params.at(i)->getId().compare(id) == 0) {
            return params.at(i);
        }
    }
    return nullptr;
}

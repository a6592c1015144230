#pragma once

#include <string>

#include "zel/TString.h"

inline std::wstring str(const Zel::TString& text) {
    return {text.data(), text.length()};
}

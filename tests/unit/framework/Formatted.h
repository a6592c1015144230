#pragma once

#include <string>

#include "zel/TString.h"

inline std::wstring modelOf(const Zel::TString& text) {
    return {text.data(), text.length()};
}

template <class... Arguments>
std::wstring formatted(const wchar_t* format, Arguments... arguments) {
    Zel::TString text;
    text.format(format, arguments...);
    return modelOf(text);
}

#include "ry/crypto.h"

#include <cwchar>
#include <new>

#include "framework/crypto-parser/Pkcs8.h"
#include "framework/crypto-parser/RsaPrivateKey.h"

namespace Ry {

namespace {

// RSA is the only algorithm and has no parameters here, so neither object has members.
class RsaParameters final : public Zel::BaseDLLObjectImpl<IAlgorithmParameters> {
public:
    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
};

class RsaAlgorithm final : public Zel::BaseDLLObjectImpl<IAlgorithm> {
public:
    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
};

wchar_t toUpper(wchar_t letter) noexcept {
    return letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - L'a' + L'A') : letter;
}

// Independent of the locale, which the host may set.
bool isRsa(const wchar_t* name) noexcept {
    return toUpper(name[0]) == L'R' && toUpper(name[1]) == L'S' && toUpper(name[2]) == L'A' && name[3] == L'\0';
}

} // namespace

IAlgorithmParameters* IAlgorithmParameters::Create() noexcept {
    return new (std::nothrow) RsaParameters;
}

IAlgorithm* IAlgorithm::CreateFromFriendlyName(const wchar_t* name, IAlgorithmParameters* /*parameters*/) noexcept {
    if (name == nullptr || !isRsa(name)) {
        return nullptr;
    }
    return new (std::nothrow) RsaAlgorithm;
}

IKey* IKey::Create(IAlgorithm* algorithm, const wchar_t* format, const std::uint8_t* bytes,
                   std::size_t length) noexcept {
    if (algorithm == nullptr || format == nullptr || bytes == nullptr || std::wcscmp(format, L"PKCS8") != 0) {
        return nullptr;
    }
    const auto components = readPkcs8RsaKey({bytes, length});
    return components ? new (std::nothrow) RsaPrivateKey(*components) : nullptr;
}

} // namespace Ry

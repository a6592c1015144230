#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "framework/crypto-parser/Pkcs8.h"
#include "ry/crypto.h"

namespace Ry {

/// An RSA private key. The numbers live inside the object and nowhere else, so that there is one place to wipe.
class RsaPrivateKey final : public Zel::BaseDLLObjectImpl<IPrivateKey> {
public:
    explicit RsaPrivateKey(const RsaComponents& components) noexcept;
    RsaPrivateKey(const RsaPrivateKey&) = delete;
    RsaPrivateKey& operator=(const RsaPrivateKey&) = delete;
    ~RsaPrivateKey();

    void* deletingDestructor(unsigned int flags) override;
    [[nodiscard]] std::size_t componentLength(RsaComponent component) const noexcept override;
    [[nodiscard]] bool copyComponent(RsaComponent component, std::uint8_t* bytes,
                                     std::size_t room) const noexcept override;

private:
    struct Number {
        std::size_t length;
        std::array<std::uint8_t, kMostComponentBytes> bytes; ///< least significant byte first
    };

    std::array<Number, kComponentCount> m_numbers;
};

} // namespace Ry

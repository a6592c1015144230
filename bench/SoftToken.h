#pragma once

#include <string>

#include "bench/Module.h"

namespace bench {

/// A SoftHSM2 token with its files in memory, made anew and gone with this object, with an RSA key under the ID that
/// the raw calls look for. The environment names it to SoftHSM2, so it comes before every module.
class SoftToken {
public:
    static constexpr const char* kPin = "123456";

    SoftToken();
    SoftToken(const SoftToken&) = delete;
    SoftToken& operator=(const SoftToken&) = delete;
    ~SoftToken();

    /// Initialises the token, its PIN and the key on an initialised module.
    void prepare(const Module& module);
    [[nodiscard]] CK_SLOT_ID slot() const { return m_slot; }
    /// The slot's description without its padding, which is the reader's name.
    [[nodiscard]] const std::string& readerName() const { return m_readerName; }

private:
    void makeKey(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session);

    std::string m_folder;
    CK_SLOT_ID m_slot = 0;
    std::string m_readerName;
};

} // namespace bench

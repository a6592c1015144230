#pragma once

#include "platform/DynamicLibrary.h"
#include "tests/fake/Fake.h"

#include <gtest/gtest.h>

#include <string>

// The module as a caller sees it: loaded by its file name, reached through its function list.
class FakeTest : public ::testing::Test {
protected:
    using Strings = std::vector<std::string>;

    void SetUp() override {
        fake.reset();
        library = load(Fake::moduleFile());
        ASSERT_TRUE(library.isLoaded());
        ASSERT_EQ(getFunctionList(library)(&p11), CKR_OK);
        ASSERT_NE(p11, nullptr);
    }
    void TearDown() override { fake.reset(); }

    static platform::DynamicLibrary load(const std::string& file) {
        return platform::DynamicLibrary::load(std::wstring(file.begin(), file.end()).c_str());
    }
    static CK_C_GetFunctionList getFunctionList(const platform::DynamicLibrary& from) {
        return reinterpret_cast<CK_C_GetFunctionList>(from.symbol("C_GetFunctionList"));
    }

    void initialize() { ASSERT_EQ(p11->C_Initialize(nullptr), CKR_OK); }
    CK_SESSION_HANDLE open(CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION) {
        CK_SESSION_HANDLE session = 0;
        EXPECT_EQ(p11->C_OpenSession(Fake::kSlot, flags, nullptr, nullptr, &session), CKR_OK);
        return session;
    }
    CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE type, std::string pin) {
        return p11->C_Login(session, type, bytes(pin), static_cast<CK_ULONG>(pin.size()));
    }
    CK_SESSION_HANDLE openAsUser() {
        const CK_SESSION_HANDLE session = open();
        EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_OK);
        return session;
    }
    CK_STATE stateOf(CK_SESSION_HANDLE session) {
        CK_SESSION_INFO info = {};
        EXPECT_EQ(p11->C_GetSessionInfo(session, &info), CKR_OK);
        return info.state;
    }
    CK_RV create(CK_SESSION_HANDLE session, const Fake::Attributes& attributes, CK_OBJECT_HANDLE* object = nullptr) {
        CK_OBJECT_HANDLE handle = 0;
        std::vector<CK_ATTRIBUTE> list = attributes.list();
        const CK_RV rv = p11->C_CreateObject(session, list.data(), static_cast<CK_ULONG>(list.size()), &handle);
        if (object != nullptr) {
            *object = handle;
        }
        return rv;
    }
    static CK_BYTE* bytes(std::string& text) { return reinterpret_cast<CK_BYTE*>(text.data()); }

    /// A private key that can sign: modulus of `size` bytes C1 … C1.
    static Fake::Attributes privateKey(std::size_t size = 64) {
        return Fake::Attributes()
            .number(CKA_CLASS, CKO_PRIVATE_KEY)
            .boolean(CKA_TOKEN, true)
            .number(CKA_KEY_TYPE, CKK_RSA)
            .hex(CKA_ID, "01")
            .raw(CKA_MODULUS, std::string(size, '\xC1'))
            .hex(CKA_PRIVATE_EXPONENT, "05");
    }
    static Fake::Attributes certificate(const char* id) {
        return Fake::Attributes()
            .number(CKA_CLASS, CKO_CERTIFICATE)
            .boolean(CKA_TOKEN, true)
            .number(CKA_CERTIFICATE_TYPE, CKC_X_509)
            .hex(CKA_VALUE, "3082AABB")
            .hex(CKA_ID, id);
    }

    Fake::Module fake = Fake::module();
    platform::DynamicLibrary library;
    CK_FUNCTION_LIST* p11 = nullptr;
};

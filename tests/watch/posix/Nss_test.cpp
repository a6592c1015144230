#include "platform/Process.h"
#include "tests/watch/WatchTest.h"

// A module with interfaces of the standard and of its vendor: NSS's software token.

using namespace tests;

namespace {

constexpr const wchar_t* kNss = L"libsoftokn3.so";

/// NSS takes one pointer more than the standard has, to the text of its parameters.
struct NssArguments {
    CK_C_INITIALIZE_ARGS arguments{};
    void* reserved = nullptr;
};

class Nss : public WatchTest {
protected:
    Nss() : m_nss(platform::DynamicLibrary::load(kNss)) {}
    void SetUp() override {
        if (!m_nss.isLoaded()) {
            GTEST_SKIP() << "libnss3 is not installed";
        }
        platform::setEnvironmentVariable("P11WATCH_MODULE", "libsoftokn3.so");
        load();
    }
    [[nodiscard]] std::vector<CK_INTERFACE> interfaces(void* function) const {
        const auto getInterfaceList = reinterpret_cast<CK_C_GetInterfaceList>(function);
        CK_ULONG count = 0;
        EXPECT_EQ(getInterfaceList(nullptr, &count), CKR_OK);
        std::vector<CK_INTERFACE> found(count);
        EXPECT_EQ(getInterfaceList(found.data(), &count), CKR_OK);
        return found;
    }
    [[nodiscard]] void* real(const char* name) const { return m_nss.symbol(name); }

private:
    platform::DynamicLibrary m_nss;
};

std::string nameOf(const CK_INTERFACE& interface) {
    return reinterpret_cast<const char*>(interface.pInterfaceName);
}

TEST_F(Nss, OffersItsInterfacesWithThoseOfTheStandardWatched) {
    const std::vector<CK_INTERFACE> real = interfaces(this->real("C_GetInterfaceList"));
    const std::vector<CK_INTERFACE> watched = interfaces(symbol("C_GetInterfaceList"));
    ASSERT_EQ(watched.size(), real.size());
    bool hasOther = false;
    for (std::size_t i = 0; i < real.size(); ++i) {
        const bool isStandard = nameOf(real[i]) == "PKCS 11";
        hasOther = hasOther || !isStandard;
        EXPECT_EQ(nameOf(watched[i]), nameOf(real[i]));
        EXPECT_EQ(watched[i].flags, real[i].flags);
        EXPECT_EQ(watched[i].pFunctionList == real[i].pFunctionList, !isStandard) << nameOf(real[i]);
        const Json note = line()["out"]["interfaces"][i];
        EXPECT_EQ(note["name"], nameOf(real[i]));
        EXPECT_EQ(note["recorded"], isStandard);
    }
    EXPECT_TRUE(hasOther);
}

TEST_F(Nss, WorksThroughTheInterfaceOfVersion3) {
    CK_UTF8CHAR name[] = "PKCS 11";
    CK_VERSION version{3, 0};
    CK_INTERFACE* interface = nullptr;
    ASSERT_EQ(reinterpret_cast<CK_C_GetInterface>(symbol("C_GetInterface"))(name, &version, &interface, 0), CKR_OK);
    auto& list = *static_cast<CK_FUNCTION_LIST_3_0*>(interface->pFunctionList);
    char parameters[] = "configdir='' flags=noCertDB,noModDB,forceOpen";
    NssArguments arguments;
    arguments.arguments.flags = CKF_OS_LOCKING_OK;
    arguments.arguments.pReserved = parameters;
    ASSERT_EQ(list.base.C_Initialize(&arguments.arguments), CKR_OK);
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(list.base.C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);
    CK_MECHANISM mechanism{CKM_SHA256, nullptr, 0};
    CK_BYTE text[] = "abc";
    CK_BYTE digest[32];
    CK_ULONG length = sizeof digest;
    EXPECT_EQ(list.base.C_DigestInit(session, &mechanism), CKR_OK);
    EXPECT_EQ(list.base.C_Digest(session, text, 3, digest, &length), CKR_OK);
    EXPECT_EQ(length, 32U);
    EXPECT_EQ(digest[0], 0xBA);
    EXPECT_EQ(line()["in"]["data"], Json({{"length", 3}, {"value", "masked"}}));
    EXPECT_EQ(line()["out"]["digest"], Json({{"length", 32}, {"value", "masked"}}));
    list.added.C_SessionCancel(session, CKF_DIGEST);
    EXPECT_EQ(line()["call"], "C_SessionCancel");
    EXPECT_EQ(list.base.C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(contentOf(record).find("configdir"), std::string::npos);
}

} // namespace

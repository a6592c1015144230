#include "bench/SoftToken.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {

namespace {

CK_UTF8CHAR* bytesOf(std::string& text) {
    return reinterpret_cast<CK_UTF8CHAR*>(text.data());
}

CK_SLOT_ID firstSlot(CK_FUNCTION_LIST& functions) {
    CK_SLOT_ID slots[8];
    CK_ULONG count = std::size(slots);
    require(functions.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    return slots[0];
}

} // namespace

SoftToken::SoftToken() {
    std::string folder = "/dev/shm/bench-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("no folder in /dev/shm");
    }
    m_folder = folder;
    std::filesystem::create_directory(m_folder + "/tokens");
    std::ofstream(m_folder + "/softhsm2.conf")
        << "directories.tokendir = " << m_folder << "/tokens\nobjectstore.backend = file\nlog.level = ERROR\n";
    setenv("SOFTHSM2_CONF", (m_folder + "/softhsm2.conf").c_str(), 1);
}

SoftToken::~SoftToken() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

void SoftToken::prepare(const Module& module) {
    CK_FUNCTION_LIST& functions = module.functions();
    std::string officerPin = "87654321";
    std::string pin = kPin;
    std::string label = "Bench" + std::string(27, ' ');
    require(functions.C_InitToken(firstSlot(functions), bytesOf(officerPin), officerPin.size(), bytesOf(label)),
            "C_InitToken");
    m_slot = firstSlot(functions);
    CK_SESSION_HANDLE session = 0;
    require(functions.C_OpenSession(m_slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session),
            "C_OpenSession");
    require(functions.C_Login(session, CKU_SO, bytesOf(officerPin), officerPin.size()), "C_Login");
    require(functions.C_InitPIN(session, bytesOf(pin), pin.size()), "C_InitPIN");
    require(functions.C_Logout(session), "C_Logout");
    require(functions.C_Login(session, CKU_USER, bytesOf(pin), pin.size()), "C_Login");
    makeKey(functions, session);
    require(functions.C_CloseSession(session), "C_CloseSession");
    CK_SLOT_INFO info;
    require(functions.C_GetSlotInfo(m_slot, &info), "C_GetSlotInfo");
    m_readerName.assign(reinterpret_cast<const char*>(info.slotDescription), sizeof info.slotDescription);
    m_readerName.erase(m_readerName.find_last_not_of(' ') + 1);
}

void SoftToken::makeKey(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session) {
    CK_BBOOL yes = CK_TRUE;
    CK_ULONG bits = 2048;
    CK_BYTE exponent[] = {0x01, 0x00, 0x01};
    CK_BYTE id[] = {0x45, 0x01};
    CK_ATTRIBUTE publicKey[] = {{CKA_TOKEN, &yes, sizeof yes},
                                {CKA_MODULUS_BITS, &bits, sizeof bits},
                                {CKA_PUBLIC_EXPONENT, exponent, sizeof exponent},
                                {CKA_ID, id, sizeof id}};
    CK_ATTRIBUTE privateKey[] = {{CKA_TOKEN, &yes, sizeof yes},
                                 {CKA_PRIVATE, &yes, sizeof yes},
                                 {CKA_SIGN, &yes, sizeof yes},
                                 {CKA_ID, id, sizeof id}};
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_OBJECT_HANDLE hPublic = 0;
    CK_OBJECT_HANDLE hPrivate = 0;
    require(functions.C_GenerateKeyPair(session, &mechanism, publicKey, std::size(publicKey), privateKey,
                                        std::size(privateKey), &hPublic, &hPrivate),
            "C_GenerateKeyPair");
}

} // namespace bench

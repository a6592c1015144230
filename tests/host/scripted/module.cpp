// The scripted module for p11host, which is a process of its own: P11HOST_TEST_TOKEN says how the token stands when it
// is loaded, in words with a blank between.
//
//     user=1 so=0        tries that are left for a PIN
//     blank              not initialised
//     memory=100         bytes that are left, public and private
//     no-user-pin        no user PIN is set
//     key                a private key with the identifier 01
//     C_InitPIN=0x30     the function always answers this
//     even-modulus       the last bit of every modulus that is shown is 0
//     own-id             a generated pair gets the identifier ABCD, whatever was asked for
//     blind-at-the-end   no search works once something was removed
//     exit-in-generate   C_GenerateKeyPair ends the process as a success
//     wait-in-generate   C_GenerateKeyPair writes "begun" into the file P11HOST_TEST_WAIT, waits until it is not there
//                        any more, and half a second for what happens meanwhile
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/DynamicLibrary.h"
#include "tests/fake/Fake.h"

namespace {

void setMemory(CK_ULONG bytes) {
    CK_TOKEN_INFO info = Fake::module().tokenInfo();
    info.ulTotalPublicMemory = info.ulTotalPrivateMemory = 65536;
    info.ulFreePublicMemory = info.ulFreePrivateMemory = bytes;
    Fake::module().setTokenInfo(Fake::kSlot, info);
}

void addKey() {
    Fake::module().addObject(Fake::Attributes()
                                 .number(CKA_CLASS, CKO_PRIVATE_KEY)
                                 .number(CKA_KEY_TYPE, CKK_RSA)
                                 .boolean(CKA_PRIVATE, true)
                                 .boolean(CKA_SIGN, true)
                                 .hex(CKA_ID, "01")
                                 .hex(CKA_MODULUS, "C0" + std::string(254, '1')));
}

void showEvenModulus() {
    Fake::module().hook<Fake::Function::C_GetAttributeValue>(
        [](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) {
            const CK_RV rv = Fake::module().honest().C_GetAttributeValue(session, object, attributes, count);
            for (CK_ULONG i = 0; i < count; ++i) {
                const CK_ATTRIBUTE& shown = attributes[i];
                if (shown.type == CKA_MODULUS && shown.pValue != nullptr && shown.ulValueLen == 256) {
                    static_cast<unsigned char*>(shown.pValue)[255] &= 0xFEU;
                }
            }
            return rv;
        });
}

std::vector<CK_ATTRIBUTE> withOwnId(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
    static std::string s_id = "\xAB\xCD";
    std::vector<CK_ATTRIBUTE> changed(attributes, attributes + count);
    for (CK_ATTRIBUTE& attribute : changed) {
        if (attribute.type == CKA_ID) {
            attribute.pValue = s_id.data();
            attribute.ulValueLen = static_cast<CK_ULONG>(s_id.size());
        }
    }
    return changed;
}

void giveOwnId() {
    Fake::module().hook<Fake::Function::C_GenerateKeyPair>(
        [](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* publicKey, CK_ULONG publicCount,
           CK_ATTRIBUTE* privateKey, CK_ULONG privateCount, CK_OBJECT_HANDLE* publicHandle,
           CK_OBJECT_HANDLE* privateHandle) {
            std::vector<CK_ATTRIBUTE> first = withOwnId(publicKey, publicCount);
            std::vector<CK_ATTRIBUTE> second = withOwnId(privateKey, privateCount);
            return Fake::module().honest().C_GenerateKeyPair(session, mechanism, first.data(), publicCount,
                                                             second.data(), privateCount, publicHandle, privateHandle);
        });
}

void goBlindAtTheEnd() {
    Fake::module().hook<Fake::Function::C_FindObjectsInit>(
        [](CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count) {
            const bool isBlind = Fake::module().callCount(Fake::Function::C_DestroyObject) > 0;
            return isBlind ? CKR_DEVICE_ERROR : Fake::module().honest().C_FindObjectsInit(session, attributes, count);
        });
}

void waitInGenerate() {
    Fake::module().hook<Fake::Function::C_GenerateKeyPair>([](auto... arguments) {
        const std::filesystem::path file = std::getenv("P11HOST_TEST_WAIT");
        std::ofstream(file) << "begun";
        while (std::filesystem::exists(file)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return Fake::module().honest().C_GenerateKeyPair(arguments...);
    });
}

void setAnswer(const std::string& name, CK_RV rv) {
    for (std::size_t i = 0; i < Fake::kFunctionCount; ++i) {
        const auto function = static_cast<Fake::Function>(i);
        if (name == Fake::functionName(function)) {
            Fake::module().answerAlways(function, rv);
        }
    }
}

void apply(const std::string& word) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string name = word.substr(0, equals);
    const CK_ULONG number = equals == word.size() ? 0 : std::stoul(word.substr(equals + 1), nullptr, 0);
    if (name == "user") {
        Fake::module().setTries(Fake::Role::User, number);
    } else if (name == "so") {
        Fake::module().setTries(Fake::Role::SecurityOfficer, number);
    } else if (name == "memory") {
        setMemory(number);
    } else if (name == "no-user-pin") {
        Fake::module().clearUserPin();
    } else if (name == "key") {
        addKey();
    } else if (name == "even-modulus") {
        showEvenModulus();
    } else if (name == "own-id") {
        giveOwnId();
    } else if (name == "blind-at-the-end") {
        goBlindAtTheEnd();
    } else if (name == "exit-in-generate") {
        Fake::module().hook<Fake::Function::C_GenerateKeyPair>([](auto... /*arguments*/) -> CK_RV { std::exit(0); });
    } else if (name == "wait-in-generate") {
        waitInGenerate();
    } else if (name == "blank") {
        Fake::module().setTokenInitialized(false);
    } else {
        setAnswer(name, number);
    }
}

/// Loaded once, by the plug-in and by the view of the module alike.
const platform::DynamicLibrary& library() {
    static const platform::DynamicLibrary s_library = [] {
        const char* const words = std::getenv("P11HOST_TEST_TOKEN");
        std::istringstream stream(words == nullptr ? "" : words);
        for (std::string word; stream >> word;) {
            apply(word);
        }
        const std::string file = Fake::moduleFile();
        return platform::DynamicLibrary::load(std::wstring(file.begin(), file.end()).c_str());
    }();
    return s_library;
}

} // namespace

#ifdef _WIN32
#define SCRIPTED_EXPORT __declspec(dllexport)
#else
#define SCRIPTED_EXPORT __attribute__((visibility("default")))
#endif

extern "C" SCRIPTED_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    return reinterpret_cast<CK_C_GetFunctionList>(library().symbol("C_GetFunctionList"))(list);
}

#pragma once

#include "tests/conformance/Harness.h"
#include "token/CryptokiCall.h"

#include <cstdint>
#include <memory>
#include <string>

// What tests of slots, sessions and token queries share.

namespace Conformance {

/// Parts of the plug-in, without an executor around them, on the scripted module.
class GateTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        CK_FUNCTION_LIST* functions = nullptr;
        ASSERT_EQ(C_GetFunctionList(&functions), CKR_OK);
        gate.bind(functions);
        fake.setInitialized(true);
        forget();
    }
    void TearDown() override {
        fake.setInitialized(false);
        PluginTest::TearDown();
    }

    plugin::Cryptoki gate;
};

/// `text` with blanks up to `length`, as a token's fields hold it.
[[nodiscard]] inline std::string padded(const std::string& text, std::size_t length) {
    return text + std::string(length - text.size(), ' ');
}

/// Learns where the plug-in's array of slot IDs stood, which a trace line names. Hooks C_GetSlotList.
class SlotListWatch {
public:
    explicit SlotListWatch(Fake::Module fake) : m_pAddress(std::make_shared<CK_ULONG>(0)) {
        fake.hook<Fake::Function::C_GetSlotList>(
            [fake, address = m_pAddress](CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* count) {
                if (list != nullptr) {
                    *address = static_cast<CK_ULONG>(reinterpret_cast<std::uintptr_t>(list));
                }
                return fake.honest().C_GetSlotList(tokenPresent, list, count);
            });
    }
    [[nodiscard]] CK_ULONG address() const { return *m_pAddress; }

private:
    std::shared_ptr<CK_ULONG> m_pAddress;
};

/// The lines of one slot, as getSlotVector writes them; manufacturer, flags and versions are the scripted module's.
[[nodiscard]] inline Trace slotTrace(int index, CK_SLOT_ID slot, const std::string& description = "Fake Reader 0") {
    const std::string method = "getSlotVector";
    const std::string name = "PKCS11Client::getSlotVector: ";
    Trace trace = call(method, "C_GetSlotInfo");
    trace += {{4, name + textf("--> pSlotID[%d]=0x%x", index, low(slot))},
              {4, name + "<-- slotInfo.slotDescription (ReaderName)=" + padded(description, 64)},
              {4, name + "<-- slotInfo.manufacturerID=" + padded("Fake Readers", 32)},
              {4, name + "<-- slotInfo.flags=0x7"},
              {4, name + "<-- slotInfo.hardwareVersion=0x1.2"},
              {4, name + "<-- slotInfo.firmwareVersion=0x3.4"}};
    return trace;
}

/// getSlotVector up to and including the line with the first count.
[[nodiscard]] inline Trace slotCountTrace(CK_ULONG count) {
    const std::string method = "getSlotVector";
    return entry(method) + call(method, "C_GetSlotList") + out(method, "ulSlotCount", count);
}

/// The second C_GetSlotList: announced, the array's address, and the count that came back.
[[nodiscard]] inline Trace slotListTrace(CK_ULONG address, CK_ULONG count) {
    const std::string method = "getSlotVector";
    return call(method, "C_GetSlotList") + in(method, "pSlotList", address) + out(method, "ulSlotCount", count);
}

/// getSlotVector from entry to exit for the default slot alone.
[[nodiscard]] inline Trace oneSlotVectorTrace(CK_ULONG address) {
    return slotCountTrace(1) + slotListTrace(address, 1) + slotTrace(0, 0x11) + leave("getSlotVector");
}

} // namespace Conformance

// What the plug-in does when the operating system tells it of processes and threads.

#include "plugin/Entry.h"
#include "ry/rylog.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/LifecycleTrace.h"
#include "tests/unit/platform/Fixture.h"

using namespace Conformance;
using plugin::onEntry;

namespace {

void receiveModule(void* context, const RylogRecord* record) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(record->module);
}

} // namespace

class EntryRoutine : public PluginTest {
protected:
    platform::DynamicLibrary m_versioned = platform::DynamicLibrary::load(versionedLibrary().c_str());
    void* m_module = moduleOf(m_versioned);
    int m_marker = 0;

    void TearDown() override {
        onEntry(nullptr, 1); // as the test program itself: no version
        PluginTest::TearDown();
    }
};

TEST_F(EntryRoutine, processDetachWritesNothing) {
    onEntry(&m_marker, 0);
    expectTrace({});
    expectCalls({});
}

TEST_F(EntryRoutine, processAttachTellsHandleAndVersion) {
    onEntry(m_module, 1);
    expectTrace({{2, "zel-coe-pkcs11::DllMain: Dll Attach process (hModule=" + addressText(m_module) + ")"},
                 {4, "zel-coe-pkcs11::DllMain: Client Version = " FIXTURE_VERSION}});
    expectCalls({});
}

TEST_F(EntryRoutine, processAttachOfAFileWithoutVersionTellsAQuestionMark) {
    const platform::DynamicLibrary plain = platform::DynamicLibrary::load(plainLibrary().c_str());
    void* const module = moduleOf(plain);
    onEntry(module, 1);
    expectTrace({{2, "zel-coe-pkcs11::DllMain: Dll Attach process (hModule=" + addressText(module) + ")"},
                 {4, "zel-coe-pkcs11::DllMain: Client Version = ?"}});
}

TEST_F(EntryRoutine, aNullHandleIsSurvived) {
    onEntry(nullptr, 1);
    expectTrace({{2, "zel-coe-pkcs11::DllMain: Dll Attach process (hModule=0x0)"},
                 {4, "zel-coe-pkcs11::DllMain: Client Version = ?"}});
}

TEST_F(EntryRoutine, threadAttachTellsTheHandle) {
    onEntry(&m_marker, 2);
    expectTrace({{2, "zel-coe-pkcs11::DllMain: Dll Attach thread (hModule=" + addressText(&m_marker) + ")"}});
}

TEST_F(EntryRoutine, threadDetachTellsTheHandle) {
    onEntry(&m_marker, 3);
    expectTrace({{2, "zel-coe-pkcs11::DllMain: Dll Detach thread (hModule=" + addressText(&m_marker) + ")"}});
}

TEST_F(EntryRoutine, unknownReasonsAreFailuresWithoutSeparator) {
    onEntry(&m_marker, 4);
    onEntry(&m_marker, 1000);
    onEntry(&m_marker, 0x7FFFFFFF);
    onEntry(&m_marker, 0xFFFFFFFF);
    expectTrace({{1, "zel-coe-pkcs11::DllMainDll Unknown Reason 4"},
                 {1, "zel-coe-pkcs11::DllMainDll Unknown Reason 1000"},
                 {1, "zel-coe-pkcs11::DllMainDll Unknown Reason 2147483647"},
                 {1, "zel-coe-pkcs11::DllMainDll Unknown Reason -1"}});
}

TEST_F(EntryRoutine, onlyProcessAttachSetsHandleAndVersion) {
    onEntry(m_module, 1);
    for (const unsigned reason : {0U, 2U, 3U, 4U}) {
        onEntry(nullptr, reason);
    }
    start();
    EXPECT_EQ(toUtf8(plugin.get()->getVersion()), FIXTURE_VERSION);
    EXPECT_EQ(toUtf8(plugin.get()->getName()).substr(0, 13), "versioned.lib");
}

class EntryReasons : public EntryRoutine, public testing::WithParamInterface<unsigned> {};

TEST_P(EntryReasons, nameTheModuleToTheLog) {
    std::vector<std::string> modules;
    rylogSetModuleName(L"somebody else");
    rylogSetReceiver(&receiveModule, &modules, 31);
    onEntry(&m_marker, GetParam());
    const std::size_t lines = modules.size();
    rylogLog(nullptr, 1, L"with the name that is set");
    rylogSetReceiver(nullptr, nullptr, 0);
    EXPECT_EQ(modules, std::vector<std::string>(lines + 1, "ZEL-COE-PKCS11"));
}

INSTANTIATE_TEST_SUITE_P(All, EntryReasons, testing::Values(0U, 1U, 2U, 3U, 4U, 0xFFFFFFFFU));

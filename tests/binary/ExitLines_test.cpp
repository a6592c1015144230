#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "ry/rylog.h"
#include "tests/binary/RawHost.h"
#include "tests/fake/Fake.h"
#include "zel/ClientOperationException.h"

// Which exit lines the trace has when a host throws. On Windows host and plug-in count their exceptions apart, so that
// the lines cannot depend on such a count.

namespace {

constexpr unsigned kExecute = 3;

using Lines = std::vector<std::string>;

/// The lines of entries and exits: ">method" and "<method".
void receive(void* context, const RylogRecord* record) {
    const std::string text = record->text;
    const std::string arrow = record->level == 8 ? ">" : "<";
    static_cast<Lines*>(context)->push_back(arrow + text.substr(text.rfind(':') + 1));
}

class HostsFailure : public std::runtime_error {
public:
    HostsFailure() : std::runtime_error("the host's own") {}
};

class OperationWithoutParameters final : public RawOperation {
public:
    OperationWithoutParameters() : RawOperation(L"getCardState") {}
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override { throw HostsFailure(); }
};

class OperationWithoutScript final : public RawOperation {
public:
    OperationWithoutScript() : RawOperation(L"getCardState") {}
    [[nodiscard]] Zel::TString getScript() const override { throw std::bad_alloc(); }
};

/// Creation parameters that fail when they are read.
class FailingVector final : public Zel::Vector<Zel::Parameter> {
public:
    [[nodiscard]] std::uint32_t size() const noexcept override { return 1; }
    [[nodiscard]] Zel::Parameter* at(std::uint32_t) const override { throw HostsFailure(); }
};

class ExitLines : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(plugin.isLoaded()) << platform::DynamicLibrary::lastError();
        Fake::module().reset();
        executor = plugin.newInstance(wideModuleFile());
        ASSERT_NE(executor, nullptr);
        callSlot<void, void*, void*>(executor, 2, nullptr, nullptr);
    }
    void TearDown() override {
        rylogSetReceiver(nullptr, nullptr, 0);
        plugin.freeInstance(executor);
    }

    void* execute(RawOperation& operation) { return callSlot<void*, void*>(executor, kExecute, &operation); }

    RawPlugin plugin;
    void* executor = nullptr;
    Lines lines;
};

TEST_F(ExitLines, areMissingWhereTheHostsExceptionLeaves) {
    OperationWithoutParameters operation;
    rylogSetReceiver(&receive, &lines, 8 | 16);
    EXPECT_THROW(execute(operation), HostsFailure);
    EXPECT_EQ(lines, (Lines{">execute"}));
}

TEST_F(ExitLines, areMissingWhereItBecomesTheExecutorsOwn) {
    OperationWithoutScript operation;
    rylogSetReceiver(&receive, &lines, 4 | 8 | 16); // with the values, the name is asked for before the script runs
    EXPECT_THROW(execute(operation), Zel::ClientOperationException);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "<execute"), 0);
}

TEST_F(ExitLines, areThereWhereItEndsInTheMethod) {
    OperationWithoutScript operation;
    rylogSetReceiver(&receive, &lines, 8 | 16);
    static_cast<Zel::ClientOperationResponse*>(execute(operation))->destroy();
    EXPECT_EQ(lines, (Lines{">execute", "<execute"}));

    lines.clear();
    FailingVector creation;
    const auto newInstance = reinterpret_cast<void* (*)(Zel::Vector<Zel::Parameter>*)>(plugin.symbol("newInstance"));
    EXPECT_EQ(newInstance(&creation), nullptr);
    EXPECT_EQ(lines, (Lines{">newInstance", "<newInstance"}));
}

} // namespace

#include "client/AccessValues.h"

#include "ry/rylog.h"

#include <gtest/gtest.h>

// Reading from within a script: it repeats what the operation did before, and so it is left out where nobody could see
// it. How parameters are read at all is tested through the executor.

namespace {

using Zel::Parameter;
using Zel::ParameterEncoding;
using Zel::ParameterType;

void receive(void* context, const RylogRecord* /*record*/) {
    ++*static_cast<int*>(context);
}

class ReadForScript : public testing::Test {
protected:
    ReadForScript() { params.add(Parameter(ParameterEncoding::Plain, L"KEYID", ParameterType::Text, L"0A")); }
    ~ReadForScript() override { rylogSetReceiver(nullptr, nullptr, 0); }

    void listen() { rylogSetReceiver(&receive, &lines, 31); }
    /// So that a second reading shows.
    void changeKeyId() { params.at(0)->setValue(L"0B"); }

    AccessValues access;
    Zel::Vector<Parameter> params;
    int lines = 0;
};

TEST_F(ReadForScript, readsAgainForTheTrace) {
    listen();
    access.readForOperation(&params);
    EXPECT_EQ(lines, 1);
    changeKeyId();
    access.readForScript(&params);
    EXPECT_EQ(lines, 2);
    EXPECT_EQ(access.keyId().compare(L"0B"), 0);
}

TEST_F(ReadForScript, readsAgainWhateverLevelIsListenedTo) {
    access.readForOperation(&params);
    rylogSetReceiver(&receive, &lines, 1);
    changeKeyId();
    access.readForScript(&params);
    EXPECT_EQ(lines, 0);
    EXPECT_EQ(access.keyId().compare(L"0B"), 0);
}

TEST_F(ReadForScript, readsOnceWhenNobodyListens) {
    access.readForOperation(&params);
    changeKeyId();
    access.readForScript(&params);
    EXPECT_EQ(access.keyId().compare(L"0A"), 0);
}

TEST_F(ReadForScript, readsWhatNoOperationHasRead) {
    access.readForScript(&params);
    EXPECT_EQ(access.keyId().compare(L"0A"), 0);
    changeKeyId();
    access.readForScript(&params);
    EXPECT_EQ(access.keyId().compare(L"0B"), 0);
}

TEST_F(ReadForScript, readsAgainInTheNextOperation) {
    access.readForOperation(&params);
    access.endOperation();
    changeKeyId();
    access.readForScript(&params);
    EXPECT_EQ(access.keyId().compare(L"0B"), 0);
}

} // namespace

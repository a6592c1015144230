// Hosts that were built apart call through the raw tables, slot by slot.

#include <string>

#include <gtest/gtest.h>

#include "tests/binary/Slot.h"
#include "zel/ClientOperationExecutor.h"

using Zel::ClientOperation;
using Zel::ClientOperationResponse;
using Zel::Parameter;
using Zel::TString;
using Zel::Vector;

namespace {

/// Notes what was called.
class NotingExecutor final : public Zel::BaseDLLObjectImpl<Zel::ClientOperationExecutor> {
public:
    explicit NotingExecutor(std::string& notes) : m_notes(notes) {}
    ~NotingExecutor() { m_notes += "end "; }

    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }

    void initialize(Vector<Parameter>* access, Vector<Parameter>* runtime) override {
        m_notes += "initialize ";
        m_pAccess = access;
        m_pRuntime = runtime;
    }
    ClientOperationResponse* execute(ClientOperation* operation) override {
        m_notes += operation == nullptr ? "execute-null " : "execute ";
        return new ClientOperationResponse();
    }
    void terminate() override { m_notes += "terminate "; }
    TString getVersion() override { return L"version"; }
    TString getType() override { return L"type"; }
    TString getName() override { return L"name"; }
    TString getDescription() override { return L"a description that is longer than what fits inside"; }
    Vector<TString>* getSupportedScripts() override { return new Vector<TString>(); }
    bool validate() override { return true; }
    bool isLocal() override { return false; }

    Vector<Parameter>* m_pAccess = nullptr;
    Vector<Parameter>* m_pRuntime = nullptr;

private:
    std::string& m_notes;
};

} // namespace

TEST(VirtualTable, ExecutorOperationsStandInTheirSlots) {
    std::string notes;
    auto* const executor = new NotingExecutor(notes);
    void* const object = static_cast<Zel::ClientOperationExecutor*>(executor);
    Vector<Parameter> access;
    Vector<Parameter> runtime;

    callSlot<void, void*, void*>(object, 2, &access, &runtime);
    EXPECT_EQ(executor->m_pAccess, &access);
    EXPECT_EQ(executor->m_pRuntime, &runtime);
    ClientOperationResponse* const response = callSlot<ClientOperationResponse*, void*>(object, 3, nullptr);
    ASSERT_NE(response, nullptr);
    response->destroy();
    callSlot<void>(object, 4);
    EXPECT_EQ(notes, "initialize execute-null terminate ");

    EXPECT_STREQ(callSlot<TString>(object, 5).c_str(), L"version");
    EXPECT_STREQ(callSlot<TString>(object, 6).c_str(), L"type");
    EXPECT_STREQ(callSlot<TString>(object, 7).c_str(), L"name");
    EXPECT_STREQ(callSlot<TString>(object, 8).c_str(), L"a description that is longer than what fits inside");
    Vector<TString>* const scripts = callSlot<Vector<TString>*>(object, 9);
    EXPECT_TRUE(scripts->isEmpty());
    scripts->destroy();
    EXPECT_TRUE(callSlot<bool>(object, 10));
    EXPECT_FALSE(callSlot<bool>(object, 11));

    callSlot<void>(object, 0);
    EXPECT_EQ(notes, "initialize execute-null terminate end ");
}

TEST(VirtualTable, DeletingDestructorFreesStorageOnlyWhenAsked) {
    std::string notes;
    void* const kept = static_cast<Zel::ClientOperationExecutor*>(new NotingExecutor(notes));
    EXPECT_EQ(callSlot<void*>(kept, 1, 0U), kept);
    EXPECT_EQ(notes, "end ");
    // The storage is still ours: a second object fits into it. (A leak or a double free would be seen by the
    // sanitizers.)
    auto* const again = new (kept) NotingExecutor(notes);
    EXPECT_EQ(callSlot<void*>(again, 1, 2U), again); // bit 0 is not set
    EXPECT_EQ(notes, "end end ");
    Zel::release(kept);

    void* const freed = static_cast<Zel::ClientOperationExecutor*>(new NotingExecutor(notes));
    EXPECT_EQ(callSlot<void*>(freed, 1, 1U), freed);
    EXPECT_EQ(notes, "end end end ");
}

TEST(VirtualTable, VectorOperationsStandInTheirSlots) {
    auto* const vector = new Vector<TString>();
    void* const object = vector;
    Vector<TString> other;
    other.add(L"two");
    other.add(L"three");
    const TString one(L"one");

    callSlot<void, const TString&>(object, 3, one);
    callSlot<void, const Vector<TString>&>(object, 2, other);
    EXPECT_EQ(callSlot<std::uint32_t>(object, 7), 3U);
    EXPECT_EQ(callSlot<std::uint32_t>(object, 6), 5U);
    EXPECT_FALSE(callSlot<bool>(object, 8));
    EXPECT_STREQ(callSlot<TString*>(object, 9, 2U)->c_str(), L"three");
    callSlot<void>(object, 4);
    EXPECT_TRUE(callSlot<bool>(object, 8));
    callSlot<void, const Vector<TString>&>(object, 5, other);
    EXPECT_EQ(callSlot<std::uint32_t>(object, 7), 2U);
    EXPECT_EQ(callSlot<std::uint32_t>(object, 6), 10U);
    callSlot<void>(object, 0);
}

TEST(VirtualTable, VectorKeepsItsStorageUnlessAsked) {
    auto* const vector = new Vector<TString>();
    void* const object = vector;
    vector->add(L"an element that lives on the heap, for it is long");
    EXPECT_EQ(callSlot<void*>(object, 1, 0U), object);
    auto* const again = new (object) Vector<TString>();
    again->add(L"element");
    EXPECT_EQ(callSlot<void*>(again, 1, 1U), again);
}

TEST(VirtualTable, ParameterAndResponseBeginWithTheBase) {
    auto* const parameter = new Parameter(Zel::ParameterEncoding::Plain, L"ID", Zel::ParameterType::Text, L"value");
    EXPECT_EQ(callSlot<void*>(parameter, 1, 1U), parameter);
    auto* const response = new ClientOperationResponse();
    callSlot<void>(response, 0);
}

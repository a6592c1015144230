// Hosts built with another compiler call through the raw tables: slot by slot, object first.

#include <string>

#include <gtest/gtest.h>

#include "zel/ClientOperationExecutor.h"

using Zel::ClientOperation;
using Zel::ClientOperationResponse;
using Zel::Parameter;
using Zel::TString;
using Zel::Vector;

namespace {

/// The function in one slot of the object's table, as a plain function that takes the object first.
template <class Function>
Function slot(void* object, int number) {
    return reinterpret_cast<Function>((*static_cast<void***>(object))[number]);
}

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

    slot<void (*)(void*, void*, void*)>(object, 2)(object, &access, &runtime);
    EXPECT_EQ(executor->m_pAccess, &access);
    EXPECT_EQ(executor->m_pRuntime, &runtime);
    ClientOperationResponse* const response =
        slot<ClientOperationResponse* (*)(void*, void*)>(object, 3)(object, nullptr);
    ASSERT_NE(response, nullptr);
    response->destroy();
    slot<void (*)(void*)>(object, 4)(object);
    EXPECT_EQ(notes, "initialize execute-null terminate ");

    EXPECT_STREQ(slot<TString (*)(void*)>(object, 5)(object).c_str(), L"version");
    EXPECT_STREQ(slot<TString (*)(void*)>(object, 6)(object).c_str(), L"type");
    EXPECT_STREQ(slot<TString (*)(void*)>(object, 7)(object).c_str(), L"name");
    EXPECT_STREQ(slot<TString (*)(void*)>(object, 8)(object).c_str(),
                 L"a description that is longer than what fits inside");
    Vector<TString>* const scripts = slot<Vector<TString>* (*)(void*)>(object, 9)(object);
    EXPECT_TRUE(scripts->isEmpty());
    scripts->destroy();
    EXPECT_TRUE(slot<bool (*)(void*)>(object, 10)(object));
    EXPECT_FALSE(slot<bool (*)(void*)>(object, 11)(object));

    slot<void (*)(void*)>(object, 0)(object);
    EXPECT_EQ(notes, "initialize execute-null terminate end ");
}

TEST(VirtualTable, DeletingDestructorFreesStorageOnlyWhenAsked) {
    std::string notes;
    void* const kept = static_cast<Zel::ClientOperationExecutor*>(new NotingExecutor(notes));
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(kept, 1)(kept, 0), kept);
    EXPECT_EQ(notes, "end ");
    // The storage is still ours: a second object fits into it. (A leak or a double free would be seen by the
    // sanitizers.)
    auto* const again = new (kept) NotingExecutor(notes);
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(again, 1)(again, 2), again); // bit 0 is not set
    EXPECT_EQ(notes, "end end ");
    Zel::release(kept);

    void* const freed = static_cast<Zel::ClientOperationExecutor*>(new NotingExecutor(notes));
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(freed, 1)(freed, 1), freed);
    EXPECT_EQ(notes, "end end end ");
}

TEST(VirtualTable, VectorOperationsStandInTheirSlots) {
    auto* const vector = new Vector<TString>();
    void* const object = vector;
    Vector<TString> other;
    other.add(L"two");
    other.add(L"three");
    const TString one(L"one");

    slot<void (*)(void*, const TString&)>(object, 3)(object, one);
    slot<void (*)(void*, const Vector<TString>&)>(object, 2)(object, other);
    EXPECT_EQ(slot<std::uint32_t (*)(void*)>(object, 7)(object), 3U);
    EXPECT_EQ(slot<std::uint32_t (*)(void*)>(object, 6)(object), 5U);
    EXPECT_FALSE(slot<bool (*)(void*)>(object, 8)(object));
    EXPECT_STREQ(slot<TString* (*)(void*, std::uint32_t)>(object, 9)(object, 2)->c_str(), L"three");
    slot<void (*)(void*)>(object, 4)(object);
    EXPECT_TRUE(slot<bool (*)(void*)>(object, 8)(object));
    slot<void (*)(void*, const Vector<TString>&)>(object, 5)(object, other);
    EXPECT_EQ(slot<std::uint32_t (*)(void*)>(object, 7)(object), 2U);
    EXPECT_EQ(slot<std::uint32_t (*)(void*)>(object, 6)(object), 10U);
    slot<void (*)(void*)>(object, 0)(object);
}

TEST(VirtualTable, VectorKeepsItsStorageUnlessAsked) {
    auto* const vector = new Vector<TString>();
    void* const object = vector;
    vector->add(L"an element that lives on the heap, for it is long");
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(object, 1)(object, 0), object);
    auto* const again = new (object) Vector<TString>();
    again->add(L"element");
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(again, 1)(again, 1), again);
}

TEST(VirtualTable, ParameterAndResponseBeginWithTheBase) {
    auto* const parameter = new Parameter(Zel::ParameterEncoding::Plain, L"ID", Zel::ParameterType::Text, L"value");
    EXPECT_EQ(slot<void* (*)(void*, unsigned int)>(parameter, 1)(parameter, 1), parameter);
    auto* const response = new ClientOperationResponse();
    slot<void (*)(void*)>(response, 0)(response);
}

// Memory that runs out inside the plug-in's own code, block by block.

#include "plugin/exports.h"
#include "tests/conformance/Harness.h"
#include "util/SecretBuffer.h"
#include "zel/ClientOperationException.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t t_refusedFrom = 0;

/// While it lives, this thread gets no block of that many bytes or more from operator new.
class Scarcity {
public:
    explicit Scarcity(std::size_t refusedFrom) { t_refusedFrom = refusedFrom; }
    Scarcity(const Scarcity&) = delete;
    Scarcity& operator=(const Scarcity&) = delete;
    ~Scarcity() { t_refusedFrom = 0; }
};

void* take(std::size_t size) noexcept {
    const bool isRefused = t_refusedFrom != 0 && size >= t_refusedFrom;
    return isRefused ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return takeOrThrow(size);
}
void* operator new[](std::size_t size) {
    return takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace Conformance {

using Fake::Function;

class ScarceMemory : public PluginTest {
protected:
    static constexpr std::size_t kLong = 100000;
};

TEST_F(ScarceMemory, withoutAnyThereIsNoExecutor) {
    const ParameterVector parameters = creation().vector();
    forget();
    Zel::ClientOperationExecutor* executor = nullptr;
    {
        const Scarcity none(1);
        executor = newInstance(parameters.get());
    }
    EXPECT_EQ(executor, nullptr);

    plugin = Executor(creation());
    EXPECT_TRUE(plugin);
}

TEST_F(ScarceMemory, anAccessValueThatFindsNoneIsTheExecutorsOwnException) {
    plugin = Executor(creation());
    const ParameterVector access = Params().plain("KEYID", "01").base64("DATA", std::string(kLong, 'A')).vector();
    std::string code;
    std::string message;
    {
        const Scarcity scarcity(kLong);
        try {
            plugin.get()->initialize(access.get(), nullptr);
        } catch (const Zel::ClientOperationException& exception) {
            code = toUtf8(exception.getErrorCode());
            message = toUtf8(exception.getMessageText());
        }
    }
    EXPECT_EQ(code, "80f6");
    EXPECT_EQ(message, "Out of memory");
    // It has not begun, so that it can begin now.
    EXPECT_EQ(plugin.initialize(), std::nullopt);
}

TEST_F(ScarceMemory, anAttributeThatFindsNoneIsAFailureOfTheScript) {
    startWithReader();
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_CERTIFICATE).hex(CKA_VALUE, "3082"));
    fake.hook<Function::C_GetAttributeValue>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) -> CK_RV {
            list[0].ulValueLen = kLong;
            return CKR_OK;
        });
    {
        const Scarcity scarcity(kLong);
        expectOutputs(execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")),
                      {{"ERROR", 2, 3, "80f6"}, {"COUNT", 2, 1, "0"}});
    }
    expectTraceAt(1, {{1, "PKCS11Client::readCertificate : C_GetAttributeValue 0x02 : failed"}});
}

TEST_F(ScarceMemory, aBufferThatFindsNoneIsNull) {
    const Scarcity scarcity(kLong);
    EXPECT_TRUE(SecretBuffer::tryAllocate(kLong).isNull());
    EXPECT_FALSE(SecretBuffer::tryAllocate(kLong / 2).isNull());
}

} // namespace Conformance

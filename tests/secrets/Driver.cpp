#include "tests/secrets/Driver.h"

#include "client/PKCS11Client.h"
#include "plugin/exports.h"
#include "tests/secrets/Heap.h"
#include "zel/ClientOperation.h"

#include <memory>

namespace Secrets {

namespace {

// The access values are private to the executor, and rightly so; the scan has to know where exactly they stand. An
// explicit instantiation may name private members.
AccessValues& accessValuesOf(PKCS11Client& client);
template <AccessValues PKCS11Client::*Member>
struct Opened {
    friend AccessValues& accessValuesOf(PKCS11Client& client) { return client.*Member; }
};
template struct Opened<&PKCS11Client::m_access>;

struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};
using Vector = std::unique_ptr<Zel::Vector<Zel::Parameter>, Destroy>;

Zel::TString toText(const std::wstring& text) {
    return {text.data(), static_cast<int>(text.size())};
}

Vector vectorOf(const std::vector<Given>& params) {
    Vector vector(new Zel::Vector<Zel::Parameter>());
    for (const Given& given : params) {
        vector->add(Zel::Parameter(static_cast<Zel::ParameterEncoding>(given.encoding), toText(given.id),
                                   static_cast<Zel::ParameterType>(given.type), toText(given.value)));
    }
    return vector;
}

class Operation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    explicit Operation(const Step& step) : m_step(step) {}
    ~Operation() = default;
    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
    [[nodiscard]] Zel::TString getId() const override { return L"1"; }
    [[nodiscard]] Zel::TString getScriptType() const override { return PKCS11Client::kScriptType; }
    [[nodiscard]] Zel::TString getScript() const override { return toText(m_step.script); }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override {
        return vectorOf(m_step.params).release();
    }

private:
    const Step& m_step;
};

std::string errorOf(const Zel::ClientOperationResponse* response) {
    const auto* const outputs = response == nullptr ? nullptr : &response->getResponseParameters();
    if (outputs == nullptr || outputs->isEmpty()) {
        return "none";
    }
    const Zel::TString& value = outputs->at(0)->getValue();
    return {value.data(), value.data() + value.length()};
}

} // namespace

void Driver::prepareToken(const Story& story) const {
    const Heap::Unwatched unwatched;
    Fake::Module fake = Fake::module();
    fake.reset();
    fake.setRecording(false);
    // A script that logs out does so until the token agrees. One logout that is carried out and then reported as failed
    // must not make it wait for ever.
    fake.hook<Fake::Function::C_Logout>([](CK_SESSION_HANDLE session) {
        const CK_RV rv = Fake::module().honest().C_Logout(session);
        return rv == CKR_USER_NOT_LOGGED_IN ? CKR_OK : rv;
    });
    fake.setUserPin(m_book.userPin);
    fake.setSoPin(m_book.officerPin);
    if (story.hasKey) {
        Fake::Attributes key;
        key.number(CKA_CLASS, CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_RSA).raw(CKA_ID, m_book.keyId);
        key.raw(CKA_MODULUS, std::string(128, '\x81'));
        fake.addObject(key);
    }
}

void Driver::create() {
    m_watch.run(
        "newInstance",
        [this] {
            Zel::Vector<Zel::Parameter> params;
            const std::string file = Fake::moduleFile();
            params.add(Zel::Parameter(Zel::ParameterEncoding::Plain, L"DLLNAME", Zel::ParameterType::Text,
                                      toText({file.begin(), file.end()})));
            m_pExecutor = newInstance(&params);
        },
        [] { return std::vector<Range>(); }, false);
}

void Driver::initialize(const Story& story, bool isScanned) {
    m_watch.run(
        story.name + ": initialize",
        [&] {
            const Vector access = vectorOf(story.access);
            try {
                m_pExecutor->initialize(access.get(), nullptr);
            } catch (...) {
            }
        },
        [this] { return kept(); }, isScanned);
}

void Driver::execute(const std::string& name, const Step& step, unsigned long failingAllocation, Outcome& outcome,
                     bool isScanned) {
    m_watch.run(
        name,
        [&] {
            Operation operation(step);
            Heap::failAllocation(failingAllocation);
            try {
                const std::unique_ptr<Zel::ClientOperationResponse, Destroy> response(m_pExecutor->execute(&operation));
                outcome.hasFailed = Heap::failAllocation(0);
                outcome.error = errorOf(response.get());
            } catch (...) {
                outcome.hasFailed = Heap::failAllocation(0);
                outcome.error = "exception";
            }
        },
        [this] { return kept(); }, isScanned);
}

void Driver::free() {
    m_watch.run(
        "freeInstance", [this] { freeInstance(m_pExecutor); }, [] { return std::vector<Range>(); });
    m_pExecutor = nullptr;
}

std::vector<Range> Driver::kept() const {
    const Heap::Unwatched unwatched;
    const AccessValues& values = accessValuesOf(static_cast<PKCS11Client&>(*m_pExecutor));
    std::vector<Range> ranges;
    for (const Zel::TString* text : {&values.accessPin().value, &values.accessOldPin().value,
                                     &values.accessNewPin().value, &values.keyId(), &values.dataToSign()}) {
        ranges.push_back({text->data(), text->length() * sizeof(wchar_t)});
    }
    return ranges;
}

Outcome Driver::live(const Story& story, const Fault& fault) {
    prepareToken(story);
    Outcome outcome;
    create();
    if (m_pExecutor == nullptr) {
        return outcome;
    }
    // What comes before the fault is scanned in the good run.
    const bool isGood = fault.call == 0 && fault.allocation == 0;
    initialize(story, isGood);
    const Step chooseReader{L"getPlatformIdentifiers", {{L"READERNAME", 4, 0, L"46616B65205265616465722030"}}};
    execute("getPlatformIdentifiers", chooseReader, 0, outcome, isGood);
    for (const Step& step : story.before) {
        execute(story.name + ": before", step, 0, outcome, isGood);
    }
    Fake::Module fake = Fake::module();
    fake.restartCallCount();
    if (fault.call != 0) {
        const Heap::Unwatched unwatched;
        fake.answerCall(fault.call, fault.rv, fault.when);
    }
    std::string name = story.name;
    if (fault.call != 0) {
        name += ", call " + std::to_string(fault.call) + " answered " + std::to_string(fault.rv);
    }
    if (fault.allocation != 0) {
        name += ", allocation " + std::to_string(fault.allocation) + " failed";
    }
    execute(name, story.last, fault.allocation, outcome, true);
    outcome.calls = fake.callCount();
    fake.clearAnswers();
    free();
    return outcome;
}

} // namespace Secrets

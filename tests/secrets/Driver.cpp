#include "tests/secrets/Driver.h"

#include "client/PKCS11Client.h"
#include "plugin/Exports.h"
#include "tests/secrets/Heap.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationException.h"

#include <algorithm>
#include <memory>

using namespace plugin;

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

std::string narrow(const Zel::TString& text) {
    return {text.data(), text.data() + text.length()};
}

/// What a response says, in blocks that no scan looks at: it may be what was read from the token.
std::string textOf(const Zel::ClientOperationResponse* response) {
    const Heap::Unwatched unwatched;
    std::string text;
    const auto* const outputs = response == nullptr ? nullptr : &response->getResponseParameters();
    for (std::uint32_t i = 0; outputs != nullptr && i < outputs->size(); ++i) {
        text += (i == 0 ? "" : " ") + narrow(outputs->at(i)->getId()) + "=" + narrow(outputs->at(i)->getValue());
    }
    return text;
}

/// Class, code and message of what `operation` throws; empty when it does not.
template <class Operation>
std::string exceptionOf(const Operation& operation) {
    try {
        operation();
        return {};
    } catch (const Zel::ClientOperationException& exception) {
        const Heap::Unwatched unwatched;
        return "ClientOperationException " + narrow(exception.getErrorCode()) + " " +
               narrow(exception.getMessageText());
    } catch (...) {
        return "another";
    }
}

/// While it lives, the fault's allocation fails, if the moment is the fault's.
class Failing {
public:
    Failing(const Fault& fault, Moment moment, Outcome& outcome)
        : m_outcome(outcome), m_isMeant(fault.allocation != 0 && fault.moment == moment) {
        if (m_isMeant) {
            Heap::failAllocation(fault.allocation, fault.shortage);
        }
    }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
    ~Failing() {
        if (m_isMeant) {
            m_outcome.hasFailed = Heap::failAllocation(0);
        }
    }

private:
    Outcome& m_outcome;
    bool m_isMeant;
};

Step chooseReader() {
    return {L"getPlatformIdentifiers", {{L"READERNAME", 4, 0, L"46616B65205265616465722030"}}};
}

std::wstring hexOf(const std::string& bytes) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const char byte : bytes) {
        text += {kDigits[static_cast<unsigned char>(byte) >> 4], kDigits[static_cast<unsigned char>(byte) & 0xF]};
    }
    return text;
}

/// What an executor is asked for every day.
std::vector<Step> ordinarySteps(const std::string& userPin) {
    return {
        {L"getReaderList", {}},
        chooseReader(),
        {L"authenticate", {{L"AUTH_TYPE", 2, 3, L"STATIC"}, {L"PINID", 2, 3, L"USER"}, {L"PIN", 4, 0, hexOf(userPin)}}},
        {L"getAuthenticatorState", {{L"PINID", 2, 3, L"USER"}}},
        {L"getCardState", {}}};
}

/// Memory fails for the plug-in, for the framework and for the host's side of the operation, which is an answer that a
/// plug-in has to live with. The module's own is plentiful: what a module makes of a shortage is its own affair, its
/// results for it are told as any other result, and a model of a token that is half changed would say nothing.
void shieldModule() {
    const Heap::Unwatched unwatched;
    Fake::Module fake = Fake::module();
#define X(name)                                                                                                        \
    fake.hook<Fake::Function::name>([](auto... arguments) -> CK_RV {                                                   \
        const Heap::Plenty plenty;                                                                                     \
        return Fake::module().honest().name(arguments...);                                                             \
    });
    FAKE_FUNCTIONS(X)
#undef X
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

void Driver::create(const Fault& fault, Outcome& outcome) {
    m_watch.run(
        "newInstance",
        [&] {
            Zel::Vector<Zel::Parameter> params;
            const std::string file = Fake::moduleFile();
            params.add(Zel::Parameter(Zel::ParameterEncoding::Plain, L"DLLNAME", Zel::ParameterType::Text,
                                      toText({file.begin(), file.end()})));
            const Failing failing(fault, Moment::Create, outcome);
            m_pExecutor = newInstance(&params);
        },
        [] { return std::vector<Range>(); }, false);
    outcome.isCreated = m_pExecutor != nullptr;
}

void Driver::initialize(const Story& story, const Fault& fault, Outcome& outcome, bool isScanned) {
    m_watch.run(
        story.name + ": initialize",
        [&] {
            const Vector access = vectorOf(story.access);
            const Failing failing(fault, Moment::Initialize, outcome);
            outcome.beginning = exceptionOf([&] { m_pExecutor->initialize(access.get(), nullptr); });
        },
        [this] { return kept(); }, isScanned);
}

void Driver::execute(const std::string& name, const Step& step, const Fault& fault, Outcome& outcome, bool isScanned) {
    m_watch.run(
        name,
        [&] {
            Operation operation(step);
            std::unique_ptr<Zel::ClientOperationResponse, Destroy> response;
            {
                const Failing failing(fault, Moment::Execute, outcome);
                outcome.answer = exceptionOf([&] { response.reset(m_pExecutor->execute(&operation)); });
            }
            if (outcome.answer.empty()) {
                outcome.answer = textOf(response.get());
            }
        },
        [this] { return kept(); }, isScanned);
}

void Driver::executeLater(Outcome& outcome) {
    std::vector<Step> steps;
    {
        const Heap::Unwatched unwatched;
        Fake::Module fake = Fake::module();
        if (!fake.userPin()) {
            fake.setUserPin(m_book.userPin); // a token that was made new has none
        }
        steps = ordinarySteps(*fake.userPin());
    }
    for (const Step& step : steps) {
        Outcome later;
        execute("later", step, {}, later, false);
        if (!later.answer.starts_with("ERROR=0")) {
            const Heap::Unwatched unwatched;
            outcome.later = narrow(step.script.c_str()) + ": " + later.answer;
            return;
        }
    }
}

void Driver::free(const Fault& fault, Outcome& outcome) {
    m_watch.run(
        "freeInstance",
        [&] {
            const Failing failing(fault, Moment::Free, outcome);
            freeInstance(m_pExecutor);
        },
        [] { return std::vector<Range>(); });
    m_pExecutor = nullptr;
}

std::vector<Range> Driver::kept() const {
    const Heap::Unwatched unwatched;
    const AccessValues& values = accessValuesOf(static_cast<PKCS11Client&>(*m_pExecutor));
    std::vector<Range> ranges;
    for (const StoredPin* pin : {&values.accessPin(), &values.accessOldPin(), &values.accessNewPin()}) {
        ranges.push_back({pin->bytes.data(), pin->bytes.size()});
    }
    for (const Zel::TString* text : {&values.keyId(), &values.dataToSign()}) {
        ranges.push_back({text->data(), text->length() * sizeof(wchar_t)});
    }
    return ranges;
}

bool Driver::knowsPin() const {
    const std::optional<std::string> pin = Fake::module().userPin();
    const std::span<const std::uint8_t> stored = accessValuesOf(static_cast<PKCS11Client&>(*m_pExecutor)).userPin();
    return !pin || *pin == m_book.userPin || std::equal(stored.begin(), stored.end(), pin->begin(), pin->end());
}

Outcome Driver::live(const Story& story, const Fault& fault) {
    prepareToken(story);
    Outcome outcome;
    if (fault.allocation != 0) {
        shieldModule();
    }
    create(fault, outcome);
    if (m_pExecutor == nullptr) {
        return outcome;
    }
    // What comes before the fault is scanned in the good run.
    const bool isGood = fault.call == 0 && fault.allocation == 0;
    initialize(story, fault, outcome, isGood);
    if (!outcome.beginning.empty()) {
        Outcome again;
        initialize(story, {}, again, false);
    }
    execute("getPlatformIdentifiers", chooseReader(), {}, outcome, isGood);
    for (const Step& step : story.before) {
        execute(story.name + ": before", step, {}, outcome, isGood);
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
        name += ", allocation " + std::to_string(fault.allocation) +
                (fault.shortage == Heap::Shortage::Once ? " failed" : " and all later ones failed");
    }
    outcome.before = fake.login();
    execute(name, story.last, fault, outcome, true);
    outcome.calls = fake.callCount();
    outcome.after = fake.login();
    {
        const Heap::Unwatched unwatched;
        outcome.objects = fake.objects().size();
        outcome.knowsPin = knowsPin();
    }
    fake.clearAnswers();
    if (fault.allocation != 0) {
        executeLater(outcome);
    }
    free(fault, outcome);
    return outcome;
}

} // namespace Secrets

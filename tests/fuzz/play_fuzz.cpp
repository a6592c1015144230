#include "plugin/Exports.h"
#include "ry/rylog.h"
#include "tests/fuzz/PlayInput.h"
#include "tests/fuzz/PlayModule.h"
#include "tests/fuzz/Targets.h"
#include "zel/ClientOperationException.h"

#include <array>
#include <memory>
#include <utility>

namespace {

using Fuzz::Input;
using Fuzz::Operation;
using Fuzz::ParameterList;
using Fuzz::require;

constexpr std::size_t kExecutors = 2;
constexpr const wchar_t* kScriptType = L"client.p11.Larkspur";

struct Destroy {
    template <class T>
    void operator()(T* object) const {
        object->destroy();
    }
};
using Response = std::unique_ptr<Zel::ClientOperationResponse, Destroy>;

/// Runs one operation of an executor. Only the documented exception may leave it: false when it did.
template <class Action>
bool succeeds(Action action) {
    try {
        action();
        return true;
    } catch (const Zel::ClientOperationException& error) {
        require(!error.getErrorCode().empty() && !error.getMessageText().empty(), "an exception has code and message");
        return false;
    }
}

std::wstring outputOf(const Zel::ClientOperationResponse& response, const wchar_t* id) {
    std::wstring found;
    const ParameterList& outputs = response.getResponseParameters();
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        if (outputs.at(i)->getId().compare(id) == 0) {
            require(found.empty(), "an output stands once");
            const Zel::TString& value = outputs.at(i)->getValue();
            found.assign(value.data(), value.length());
        }
    }
    return found;
}

bool isCode(const std::wstring& error) {
    return !error.empty() && error.find_first_not_of(L"0123456789abcdef") == std::wstring::npos;
}

ParameterList* pointerTo(std::optional<ParameterList>& list) {
    return list ? &*list : nullptr;
}

/// Somebody listens, so that the trace is built.
void receive(void*, const RylogRecord* record) {
    require(record->module != nullptr && record->text != nullptr, "a message has its texts");
}

class Play {
public:
    explicit Play(Input& input) : m_input(input) {
        const std::uint32_t levels = input.below(4) == 0 ? 0 : 31;
        rylogSetReceiver(&receive, nullptr, levels);
    }
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;
    ~Play() {
        for (Zel::ClientOperationExecutor* executor : m_executors) {
            freeInstance(executor);
        }
        rylogSetReceiver(nullptr, nullptr, 0);
    }

    void run() {
        m_module.setUp(m_input);
        while (!m_input.isEmpty()) {
            step(m_input.below(kExecutors));
            requireSessions();
        }
        m_module.makeHonest();
        for (Zel::ClientOperationExecutor* executor : m_executors) {
            if (executor != nullptr && executor->validate()) {
                requireUsable(*executor);
            }
        }
    }

private:
    void step(std::size_t place) {
        Zel::ClientOperationExecutor*& executor = m_executors[place];
        if (executor == nullptr) {
            ParameterList creation = Fuzz::creationFrom(m_input);
            executor = newInstance(&creation);
        }
        const std::size_t choice = m_input.below(16);
        if (choice == 0) {
            freeInstance(std::exchange(executor, nullptr));
        } else if (choice < 4) {
            m_module.addFault(m_input);
        } else if (choice == 4) {
            m_module.disturb(m_input);
        } else if (executor != nullptr) {
            use(*executor, choice);
        }
    }

    void use(Zel::ClientOperationExecutor& executor, std::size_t choice) {
        if (choice == 5) {
            executor.terminate();
        } else if (choice == 6) {
            ask(executor);
        } else if (choice < 9) {
            std::optional<ParameterList> access = Fuzz::parametersFrom(m_input);
            std::optional<ParameterList> runtime = Fuzz::parametersFrom(m_input);
            succeeds([&] { executor.initialize(pointerTo(access), pointerTo(runtime)); });
        } else {
            execute(executor);
        }
    }

    void execute(Zel::ClientOperationExecutor& executor) {
        const std::size_t kind = m_input.below(32);
        if (kind == 0) {
            succeeds([&] { require(executor.execute(nullptr) == nullptr, "no operation, no response"); });
            return;
        }
        const std::wstring id = m_input.text(4);
        const std::wstring type = kind == 1 ? m_input.text(10) : kScriptType;
        const std::wstring script = Fuzz::scriptFrom(m_input);
        Operation operation(id, type, script, Fuzz::parametersFrom(m_input));
        Response response;
        if (succeeds([&] { response.reset(executor.execute(&operation)); })) {
            require(response != nullptr && response->getId().compare(operation.getId()) == 0, "a response has the id");
            const std::wstring error = outputOf(*response, L"ERROR");
            const bool isKnown = type == kScriptType && Fuzz::isScript(script);
            require(isKnown ? isCode(error) : response->getResponseParameters().isEmpty(),
                    "a known script answers with ERROR, an unknown one with nothing");
        }
    }

    static void ask(Zel::ClientOperationExecutor& executor) {
        require(executor.getType().compare(kScriptType) == 0, "the type is ours");
        require(executor.isLocal(), "an executor is local");
        static_cast<void>(executor.getName());
        static_cast<void>(executor.getVersion());
        static_cast<void>(executor.getDescription());
        const std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> scripts(executor.getSupportedScripts());
        require(scripts != nullptr && !scripts->isEmpty(), "there are scripts");
    }

    /// On a module that told the truth all along, an executor has one session at most, and none is left when the last
    /// executor has gone.
    void requireSessions() {
        std::size_t most = 0;
        for (const Zel::ClientOperationExecutor* executor : m_executors) {
            most += executor != nullptr ? 1 : 0;
        }
        require(m_module.isFaulty() || m_module.fake().sessionCount() <= most, "no session is left behind");
    }

    /// Whatever happened, an executor works with a module that does.
    static void requireUsable(Zel::ClientOperationExecutor& executor) {
        executor.terminate();
        ParameterList access;
        access.add({Zel::ParameterEncoding::Plain, L"PINID", Zel::ParameterType::Text, L"USER"});
        access.add({Zel::ParameterEncoding::Hexadecimal, L"PIN", Zel::ParameterType::Raw, L"31323334"});
        require(succeeds([&] { executor.initialize(&access, nullptr); }), "an executor can be initialised again");

        // With whatever prefix this executor puts before it.
        const std::wstring name = outputOf(*done(executor, L"getReaderList", {}), L"READERS");
        ParameterList reader;
        reader.add({Zel::ParameterEncoding::Hexadecimal, L"READERNAME", Zel::ParameterType::Raw, Fuzz::textFrom(name)});
        done(executor, L"getPlatformIdentifiers", reader);
        access.add({Zel::ParameterEncoding::Plain, L"AUTH_TYPE", Zel::ParameterType::Text, L"STATIC"});
        done(executor, L"authenticate", access);
        done(executor, L"deauthenticate", {});
        executor.terminate();
    }

    static Response done(Zel::ClientOperationExecutor& executor, const wchar_t* script,
                         const ParameterList& parameters) {
        Operation operation(L"1", kScriptType, script, parameters);
        Response response;
        require(succeeds([&] { response.reset(executor.execute(&operation)); }), "an honest operation is carried out");
        const std::wstring error = outputOf(*response, L"ERROR");
        if (error != L"0") {
            std::fprintf(stderr, "%ls: %ls\n", script, error.c_str());
        }
        require(error == L"0", "an honest operation succeeds");
        return response;
    }

    Input& m_input;
    Fuzz::PlayModule m_module;
    std::array<Zel::ClientOperationExecutor*, kExecutors> m_executors{};
};

} // namespace

void Fuzz::play(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Play(input).run();
    require(Fake::module().sessionCount() == 0, "no session is left");
}

// A plug-in for the host's tests. It does what its parameters ask for, prints to standard output wherever it can, and
// writes every call into the file that the environment variable P11HOST_TEST_CALLS names.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "ry/rylog.h"
#include "zel/ClientOperationException.h"
#include "zel/ClientOperationExecutor.h"
#include "zel/Export.h"

/// Closes all descriptors from 3 on, and opens the file in the place of each.
void takeDescriptors(const std::string& file);

namespace {

using Zel::Parameter;
using Zel::ParameterEncoding;
using Zel::ParameterType;
using Zel::TString;
using Zel::Vector;

std::string narrow(const TString& text) {
    std::string result;
    for (std::size_t i = 0; i < text.length(); ++i) {
        const wchar_t character = text.data()[i];
        result += character < 0x80 ? static_cast<char>(character) : '?';
    }
    return result;
}

void note(const std::string& call) {
    std::printf("noise: %s\n", call.c_str());
    std::fflush(stdout);
    const char* file = std::getenv("P11HOST_TEST_CALLS");
    if (std::FILE* calls = file == nullptr ? nullptr : std::fopen(file, "ab")) {
        std::fprintf(calls, "%s\n", call.c_str());
        std::fclose(calls);
    }
}

Zel::ClientOperationException failure(const wchar_t* message) {
    Zel::ClientOperationException exception;
    exception.setMessage(message);
    exception.setErrorCode(L"80ec");
    return exception;
}

void add(Vector<Parameter>& list, const wchar_t* id, const TString& value, int encoding = 2, int type = 3) {
    list.add(Parameter(static_cast<ParameterEncoding>(encoding), id, static_cast<ParameterType>(type), value));
}

struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};

class Double final : public Zel::BaseDLLObjectImpl<Zel::ClientOperationExecutor> {
public:
    explicit Double(const TString& module) : m_module(module) {}

    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }

    void initialize(Vector<Parameter>* access, Vector<Parameter>* runtime) override {
        note(std::string("initialize ").append(count(access)).append(" ").append(count(runtime)));
        if (m_module.compare(L"unready") == 0) {
            throw failure(L"Plugin not validated");
        }
        if (m_initialized) {
            throw failure(L"Plugin not terminated");
        }
        m_initialized = true;
    }

    Zel::ClientOperationResponse* execute(Zel::ClientOperation* operation) override {
        if (operation == nullptr) {
            note("execute null");
            return nullptr;
        }
        const std::unique_ptr<Vector<Parameter>, Destroy> given(operation->getParameters());
        Vector<Parameter>* const parameters = given.get();
        std::string call = "execute";
        for (const std::string& word : {narrow(operation->getId()), narrow(operation->getScriptType()),
                                        narrow(operation->getScript()), count(parameters)}) {
            call.append(" ").append(word);
        }
        note(call);
        Vector<Parameter> answer;
        if (!fill(operation->getScript(), parameters, answer)) {
            return nullptr;
        }
        auto* response = new Zel::ClientOperationResponse;
        response->setId(operation->getId());
        response->setResponseParameters(answer);
        return response;
    }

    void terminate() override {
        note("terminate");
        m_initialized = false;
    }
    TString getVersion() override { return L"9.8.7.6"; }
    TString getType() override { return L"client.p11.Larkspur"; }
    TString getName() override { return L"double"; }
    TString getDescription() override { return L"Library Name=double\nManufacturer ID=tests"; }
    Vector<TString>* getSupportedScripts() override {
        auto* names = new Vector<TString>;
        names->add(L"echo");
        names->add(L"signData");
        return names;
    }
    bool validate() override { return m_module.compare(L"unready") != 0; }
    bool isLocal() override { return true; }

private:
    static std::string count(const Vector<Parameter>* list) {
        return list == nullptr ? "null" : std::to_string(list->size());
    }

    /// False: there is no response at all.
    bool fill(const TString& script, const Vector<Parameter>* parameters, Vector<Parameter>& answer) {
        if (script.compare(L"unknown") == 0) {
            return true;
        }
        add(answer, L"ERROR", L"0");
        if (script.compare(L"getReaderList") == 0) {
            // "Reader One", "a/b"; of "odd", twice "Reader One" and two bytes that are no UTF-8.
            const bool isOdd = m_module.compare(L"odd") == 0;
            add(answer, L"READERS",
                isOdd ? L"526561646572204F6E652F526561646572204F6E652FFFFE" : L"526561646572204F6E652F612F62", 4, 0);
            return true;
        }
        if (script.compare(L"getPlatformIdentifiers") == 0) {
            identify(parameters, answer);
            return true;
        }
        bool hasAnswer = true;
        for (std::uint32_t i = 0; parameters != nullptr && i < parameters->size(); ++i) {
            hasAnswer = obey(*parameters->at(i), answer) && hasAnswer;
        }
        return hasAnswer;
    }

    static void identify(const Vector<Parameter>* parameters, Vector<Parameter>& answer) {
        const TString reader =
            parameters == nullptr || parameters->isEmpty() ? TString() : parameters->at(0)->getValue();
        if (reader.compareIgnoreCase(L"526561646572204F6E65") == 0) {
            add(answer, L"SMOID", L"31323320", 4, 0);
            add(answer, L"LABEL", L"6D696E6520202020", 4, 0);
        } else if (reader.compareIgnoreCase(L"FFFE") == 0) {
            add(answer, L"SMOID", L"39", 4, 0);
        } else {
            answer.at(0)->setValue(reader.compareIgnoreCase(L"612F62") == 0 ? L"80eb" : L"80e9");
        }
    }

    static bool obey(const Parameter& parameter, Vector<Parameter>& answer) {
        const TString& id = parameter.getId();
        const TString& value = parameter.getValue();
        if (id.compare(L"ANSWER") == 0) {
            answer.at(0)->setValue(value);
        } else if (id.compare(L"THROW") == 0) {
            raise(value);
        } else if (id.compare(L"SLEEP") == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(narrow(value))));
        } else if (id.compare(L"HOLD") == 0) {
            hold(narrow(value));
        } else if (id.compare(L"EXIT") == 0) {
            std::exit(std::stoi(narrow(value)));
        } else if (id.compare(L"REFUSE") == 0) {
            for (int i = std::stoi(narrow(value)); i > 0; --i) {
                rylogLog(L"DOUBLE", 1, L"PKCS11Client::signData : C_Logout 0x30 : failed");
            }
        } else if (id.compare(L"TAKE") == 0) {
            takeDescriptors(narrow(value));
        } else if (id.compare(L"NULL") == 0) {
            return false;
        } else if (id.compare(L"LONE") == 0) {
            const wchar_t surrogate[] = {L'<', static_cast<wchar_t>(0xD800), L'>'};
            add(answer, L"LONE", TString(surrogate, 3));
        } else {
            answer.add(parameter);
        }
        return true;
    }

    /// Until something stands in the file, or for two minutes.
    static void hold(const std::string& file) {
        for (int i = 0; i < 12000 && std::ifstream(file).peek() == std::ifstream::traits_type::eof(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    [[noreturn]] static void raise(const TString& what) {
        if (what.compare(L"range") == 0) {
            throw std::out_of_range("Position exceeds \xFF");
        }
        if (what.compare(L"number") == 0) {
            throw 5; // NOLINT(hicpp-exception-baseclass): what a careless vendor might do
        }
        throw failure(L"Bad parameter PINID: x");
    }

    TString m_module;
    bool m_initialized = false;
};

} // namespace

extern "C" {

ZEL_EXPORT Zel::ClientOperationExecutor* newInstance(Vector<Parameter>* parameters) {
    TString module;
    std::string given;
    for (std::uint32_t i = 0; parameters != nullptr && i < parameters->size(); ++i) {
        given.append(" ").append(narrow(parameters->at(i)->getId()));
        given.append("=").append(narrow(parameters->at(i)->getValue()));
        if (parameters->at(i)->getId().compareIgnoreCase(L"DLLNAME") == 0) {
            module = parameters->at(i)->getValue();
        }
    }
    note(std::string("newInstance").append(parameters == nullptr ? " null" : given));
    return module.empty() || module.compare(L"missing") == 0 ? nullptr : new Double(module);
}

ZEL_EXPORT void freeInstance(Zel::ClientOperationExecutor* executor) {
    note(executor == nullptr ? "freeInstance null" : "freeInstance");
    if (executor != nullptr) {
        executor->destroy();
    }
}

} // extern "C"

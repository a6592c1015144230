// A customer's host on the customer's framework: none of our names is seen here. Usage: customer-host PLUGIN MODULE

#include <cstdio>
#include <cwchar>
#include <string>

#include "kit/Task.h"
#include "kit/TaskFailure.h"
#include "kit/Worker.h"
#include "platform/DynamicLibrary.h"

namespace {

using Arguments = Kit::List<Kit::Argument>;

// The plug-in's own framework has a text of this size.
static_assert(sizeof(Kit::Text) != 3 * sizeof(void*) + 24 * sizeof(wchar_t));

int g_passed = 0;
int g_failed = 0;

void check(bool holds, const char* what) {
    std::printf("%-8s %s\n", holds ? "passed" : "FAILED", what);
    ++(holds ? g_passed : g_failed);
}

bool is(const Kit::Text& text, const wchar_t* wanted) {
    return text.compare(wanted) == 0;
}

class HostTask final : public Kit::Task {
public:
    HostTask(const wchar_t* script, const Arguments& arguments) : m_script(script), m_arguments(arguments) {}
    ~HostTask() = default;

    void destroy() override {}
    void* deletingDestructor(unsigned int) override { return this; }
    [[nodiscard]] Kit::Text getId() const override { return L"a task of this host"; }
    [[nodiscard]] Kit::Text getScriptType() const override { return L"client.p11.Larkspur"; }
    [[nodiscard]] Kit::Text getScript() const override { return m_script; }
    [[nodiscard]] Arguments* getParameters() const override { return new Arguments(m_arguments); }

private:
    const wchar_t* m_script;
    const Arguments& m_arguments;
};

Kit::Argument plain(const wchar_t* id, const wchar_t* value) {
    return {Kit::ArgumentCoding::Plain, id, Kit::ArgumentKind::Text, value};
}

std::wstring valueOf(const Arguments& outputs, const wchar_t* id) {
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        if (is(outputs.at(i)->getId(), id)) {
            return outputs.at(i)->getValue().c_str();
        }
    }
    return L"none";
}

/// One output of a script that goes well.
std::wstring execute(Kit::Worker& worker, const wchar_t* script, const Arguments& arguments, const wchar_t* output) {
    HostTask task(script, arguments);
    Kit::Answer* const answer = worker.execute(&task);
    if (answer == nullptr) {
        return L"no answer";
    }
    check(is(answer->getId(), L"a task of this host"), "the answer carries the task's id");
    check(valueOf(answer->getResponseParameters(), L"ERROR") == L"0", "the script goes well");
    std::wstring value = valueOf(answer->getResponseParameters(), output);
    answer->destroy();
    return value;
}

void tellOfItself(Kit::Worker& worker) {
    check(worker.validate(), "the executor is valid");
    check(is(worker.getType(), L"client.p11.Larkspur"), "its type");
    check(std::wcsstr(worker.getName().c_str(), L"PKCS#11 Plugin") != nullptr, "its name");
    Kit::List<Kit::Text>* const scripts = worker.getSupportedScripts();
    check(is(*scripts->at(scripts->size() - 1), L"endSynchronization"), "its scripts");
    scripts->destroy();
}

void runScripts(Kit::Worker& worker) {
    Arguments arguments;
    const std::wstring reader = execute(worker, L"getReaderList", arguments, L"READERS");
    check(reader == L"46616B65205265616465722030", "the one reader"); // "Fake Reader 0"
    arguments.add(plain(L"READERNAME", reader.c_str()));
    const std::wstring label = execute(worker, L"getPlatformIdentifiers", arguments, L"LABEL");
    check(label.rfind(L"46616B6520546F6B656E", 0) == 0, "the label of its token"); // "Fake Token", and blanks
}

void failTwice(Kit::Worker& worker) {
    try {
        worker.initialize(nullptr, nullptr);
        check(false, "a second initialize throws");
    } catch (const Kit::TaskFailure& failure) {
        check(is(failure.getMessageText(), L"Plugin not terminated"), "the message of what it throws");
        check(is(failure.getErrorCode(), L"80ec"), "and its code");
    }
}

Kit::Text wide(const char* text) {
    std::wstring characters;
    for (; *text != '\0'; ++text) {
        characters += static_cast<wchar_t>(static_cast<unsigned char>(*text));
    }
    return characters.c_str();
}

void drive(const platform::DynamicLibrary& plugin, const Kit::Text& module) {
    const auto newInstance = reinterpret_cast<Kit::Worker* (*)(Arguments*)>(plugin.symbol("newInstance"));
    const auto freeInstance = reinterpret_cast<void (*)(Kit::Worker*)>(plugin.symbol("freeInstance"));
    Arguments creation;
    creation.add(plain(L"DLLNAME", module.c_str()));
    Kit::Worker* const worker = newInstance(&creation);
    check(worker != nullptr, "an executor");
    if (worker == nullptr) {
        return;
    }
    tellOfItself(*worker);
    worker->initialize(nullptr, nullptr);
    runScripts(*worker);
    failTwice(*worker);
    worker->terminate();
    freeInstance(worker);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::puts("Usage: customer-host PLUGIN MODULE");
        return 2;
    }
    const platform::DynamicLibrary plugin = platform::DynamicLibrary::load(wide(argv[1]).c_str());
    check(plugin.isLoaded(), "the plug-in is loaded");
    if (plugin.isLoaded()) {
        drive(plugin, wide(argv[2]));
    }
    std::printf("%d passed, %d failed, 0 skipped\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}

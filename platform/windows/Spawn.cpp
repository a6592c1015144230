#include "platform/windows/Spawn.h"

#include <algorithm>
#include <array>

#include "text/Utf8.h"

namespace platform {

namespace {

/// One argument as the C runtime of the other program reads it: in quotes, with what would end them escaped.
std::wstring quoted(const std::string& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : text::toWide(argument)) {
        if (character == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

std::wstring commandLine(const std::vector<std::string>& arguments) {
    std::wstring line;
    for (const std::string& argument : arguments) {
        line += (line.empty() ? L"" : L" ") + quoted(argument);
    }
    return line;
}

/// The handles that a new process inherits; must live until it has been made.
class Inherited {
public:
    Inherited(HANDLE input, HANDLE output, HANDLE errors) : m_handles{input, output, errors} {
        const auto end = std::remove(m_handles.begin(), m_handles.end(), nullptr);
        const auto size = static_cast<std::size_t>(end - m_handles.begin()) * sizeof(HANDLE);
        SIZE_T room = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &room);
        m_room.resize(room);
        m_isMade = InitializeProcThreadAttributeList(list(), 1, 0, &room) != 0;
        m_isComplete =
            m_isMade && (size == 0 || UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                                m_handles.data(), size, nullptr, nullptr) != 0);
    }
    Inherited(const Inherited&) = delete;
    Inherited& operator=(const Inherited&) = delete;
    ~Inherited() {
        if (m_isMade) {
            DeleteProcThreadAttributeList(list());
        }
    }

    [[nodiscard]] bool isComplete() const noexcept { return m_isComplete; }
    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() noexcept {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_room.data());
    }

private:
    std::array<HANDLE, 3> m_handles;
    std::vector<char> m_room;
    bool m_isMade = false;
    bool m_isComplete = false;
};

} // namespace

bool openPipe(OurEnd end, HANDLE& ours, HANDLE& theirs) noexcept {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (CreatePipe(&readEnd, &writeEnd, &inherited, 0) == 0) {
        return false;
    }
    ours = end == OurEnd::Reads ? readEnd : writeEnd;
    theirs = end == OurEnd::Reads ? writeEnd : readEnd;
    SetHandleInformation(ours, HANDLE_FLAG_INHERIT, 0);
    return true;
}

bool spawn(PROCESS_INFORMATION& process, const std::vector<std::string>& arguments, HANDLE input, HANDLE output,
           HANDLE errors, DWORD flags) {
    Inherited inherited(input, output, errors);
    if (!inherited.isComplete()) {
        return false;
    }
    STARTUPINFOEXW start = {};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = input;
    start.StartupInfo.hStdOutput = output;
    start.StartupInfo.hStdError = errors;
    start.lpAttributeList = inherited.list();
    std::wstring line = commandLine(arguments);
    return CreateProcessW(text::toWide(arguments[0]).c_str(), line.data(), nullptr, nullptr, TRUE,
                          flags | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo, &process) != 0;
}

} // namespace platform

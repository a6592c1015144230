#include "tests/rack/Reader.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/Process.h"

namespace rack {

namespace {

namespace fs = std::filesystem;

std::mutex g_configurationMutex;
fs::path g_configurationFile;

std::string utf8Of(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// The file's first line; empty for a file that is not there.
std::string lineIn(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string line;
    std::getline(stream, line);
    return line.substr(0, line.find('\r'));
}

fs::path copyOf(const fs::path& module, const fs::path& folder) {
    fs::path copy = folder / ("module" + module.extension().string());
    if (!fs::exists(copy)) {
        fs::copy_file(module, copy);
    }
    return copy;
}

CK_FUNCTION_LIST* functionsOf(const platform::DynamicLibrary& library) {
    CK_FUNCTION_LIST* functions = nullptr;
    auto* const get = reinterpret_cast<CK_C_GetFunctionList>(library.symbol("C_GetFunctionList"));
    return get != nullptr && get(&functions) == CKR_OK ? functions : nullptr;
}

bool isInitialised(CK_FUNCTION_LIST& functions, CK_SLOT_ID slot) {
    CK_TOKEN_INFO info = {};
    return functions.C_GetTokenInfo(slot, &info) == CKR_OK && (info.flags & CKF_TOKEN_INITIALIZED) != 0;
}

/// The slot of the one card: that of an initialised token, else the blank one, which SoftHSM2 always shows beside.
CK_SLOT_ID slotOfCard(CK_FUNCTION_LIST& functions) {
    CK_ULONG count = 0;
    functions.C_GetSlotList(CK_TRUE, nullptr, &count);
    std::vector<CK_SLOT_ID> slots(count);
    if (count == 0 || functions.C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) {
        return kNoSlot;
    }
    for (const CK_SLOT_ID slot : slots) {
        if (isInitialised(functions, slot)) {
            return slot;
        }
    }
    return slots.front();
}

} // namespace

void setConfigurationFile(const fs::path& file) {
    const std::lock_guard lock(g_configurationMutex);
    g_configurationFile = file;
    platform::setEnvironmentVariable("SOFTHSM2_CONF", utf8Of(file));
}

Reader::Reader(fs::path folder, const fs::path& module) : m_folder(std::move(folder)), m_calls(m_folder) {
    m_library = platform::DynamicLibrary::load(copyOf(module, m_folder).wstring().c_str());
    m_functions = m_library.isLoaded() ? functionsOf(m_library) : nullptr;
    if (m_functions == nullptr) {
        throw std::runtime_error("the module cannot be loaded: " + platform::DynamicLibrary::lastError());
    }
}

Reader::~Reader() {
    remove();
}

bool Reader::isPlugged() const {
    return fs::exists(m_folder / "name");
}

std::string Reader::name() const {
    return lineIn(m_folder / "name");
}

CK_FLAGS Reader::furtherFlags() const {
    return static_cast<CK_FLAGS>(std::strtoul(lineIn(m_folder / "flags").c_str(), nullptr, 0));
}

bool Reader::hasCard() {
    follow();
    const std::shared_lock lock(m_mutex);
    return m_isIn;
}

void Reader::follow() {
    const std::string store = isPlugged() ? lineIn(m_folder / "card") : "";
    {
        const std::shared_lock lock(m_mutex);
        if (store == m_store) {
            return;
        }
    }
    const std::unique_lock lock(m_mutex);
    if (store != m_store) {
        remove();
        m_store = store;
        insert(store);
    }
}

void Reader::insert(const std::string& store) {
    if (store.empty() || !fs::is_directory(fs::path(std::u8string(store.begin(), store.end())))) {
        return;
    }
    const std::lock_guard lock(g_configurationMutex);
    std::ofstream(g_configurationFile, std::ios::binary)
        << "directories.tokendir = " << store << "\nobjectstore.backend = file\nlog.level = ERROR\n";
    CK_C_INITIALIZE_ARGS arguments = {};
    arguments.flags = CKF_OS_LOCKING_OK;
    if (m_functions->C_Initialize(&arguments) != CKR_OK) {
        return;
    }
    m_slot = slotOfCard(*m_functions);
    m_isIn = true;
    ++m_card;
}

void Reader::remove() {
    if (m_isIn) {
        m_functions->C_Finalize(nullptr);
        m_isIn = false;
    }
    m_store.clear();
}

} // namespace rack

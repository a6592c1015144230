#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"
#include "watch/replay/Replay.h"

// A record that anybody may have written answers calls that any program may make. Every buffer has its exact size on
// the heap, where a sanitizer sees what goes beyond it.

namespace {

using Fuzz::Input;
using watch::Kind;
using watch::Word;

constexpr CK_ATTRIBUTE_TYPE kTypes[] = {CKA_CLASS,   CKA_LABEL,         CKA_VALUE, CKA_MODULUS_BITS,      CKA_TOKEN,
                                        CKA_MODULUS, CKA_WRAP_TEMPLATE, CKA_ID,    CKA_ALLOWED_MECHANISMS};
constexpr CK_ULONG kMost = 40;

/// The arguments of one call, made of the fuzzer's bytes.
class Arguments {
public:
    Arguments(const watch::Function& function, Input& input) : m_input(input) {
        for (const watch::Argument& argument : function.arguments) {
            add(argument.kind);
        }
    }
    [[nodiscard]] watch::Words words() const { return m_words; }

private:
    template <class T>
    T* made(std::size_t count) {
        auto owned = std::make_shared<std::vector<T>>(count);
        m_owned.push_back(owned);
        return count == 0 ? nullptr : owned->data();
    }
    CK_ULONG small() { return static_cast<CK_ULONG>(m_input.below(4)); }
    CK_ULONG room() { return static_cast<CK_ULONG>(m_input.below(kMost)); }
    Word number(CK_ULONG value) {
        auto* const place = made<CK_ULONG>(1);
        *place = value;
        return watch::toWord(place);
    }

    CK_ATTRIBUTE* attributes(CK_ULONG count) {
        auto* const list = made<CK_ATTRIBUTE>(count);
        for (CK_ULONG i = 0; i < count; ++i) {
            const CK_ATTRIBUTE_TYPE type = m_input.oneOf(kTypes);
            // A template goes in with entries that are whole.
            const CK_ULONG length = type == CKA_WRAP_TEMPLATE ? 0 : room();
            list[i] = {type, made<std::uint8_t>(length), length};
        }
        return list;
    }
    void addAttributes() {
        const CK_ULONG count = small();
        m_words.push_back(watch::toWord(attributes(count)));
        m_words.push_back(count);
    }
    /// A list of numbers, or of bytes.
    void addOutput(Kind kind) {
        const CK_ULONG length = room();
        const bool isList = kind >= Kind::SlotsOut;
        m_words.push_back(isList ? watch::toWord(made<CK_ULONG>(length)) : watch::toWord(made<std::uint8_t>(length)));
        if (kind == Kind::ObjectsOut) {
            m_words.push_back(length);
        }
        m_words.push_back(kind == Kind::RandomOut ? length : number(kind == Kind::ObjectsOut ? 0 : length));
    }
    Word structure(Kind kind) {
        switch (kind) {
        case Kind::Mechanism: {
            auto* const mechanism = made<CK_MECHANISM>(1);
            *mechanism = {CKM_SHA256_RSA_PKCS, nullptr, 0};
            return watch::toWord(mechanism);
        }
        case Kind::PaddedLabel:
            return watch::toWord(made<std::uint8_t>(32));
        case Kind::InfoOut:
            return watch::toWord(made<CK_INFO>(1));
        case Kind::SlotInfoOut:
            return watch::toWord(made<CK_SLOT_INFO>(1));
        case Kind::TokenInfoOut:
            return watch::toWord(made<CK_TOKEN_INFO>(1));
        case Kind::SessionInfoOut:
            return watch::toWord(made<CK_SESSION_INFO>(1));
        case Kind::MechanismInfoOut:
            return watch::toWord(made<CK_MECHANISM_INFO>(1));
        default:
            return number(small());
        }
    }
    void add(Kind kind) {
        if (kind == Kind::None) {
            return;
        }
        if (kind <= Kind::MechanismType) {
            m_words.push_back(small());
        } else if (kind == Kind::Pointer || kind == Kind::Initialize) {
            m_words.push_back(0);
        } else if (kind < Kind::Pin) {
            m_words.push_back(structure(kind));
        } else if (kind >= Kind::Template && kind <= Kind::Query) {
            addAttributes();
        } else if (kind >= Kind::RandomOut) {
            addOutput(kind);
        } else {
            const CK_ULONG length = room();
            m_words.push_back(watch::toWord(made<std::uint8_t>(length)));
            m_words.push_back(length);
        }
    }

    Input& m_input;
    std::vector<std::shared_ptr<void>> m_owned;
    std::vector<Word> m_words;
};

} // namespace

void Fuzz::replay(const std::uint8_t* data, std::size_t size) {
    // The calls stand before the record: each begins with the number of its function.
    Input input(data, size);
    const bool isStrict = input.boolean();
    const std::string choices = input.bytes(63);
    Input calls(reinterpret_cast<const std::uint8_t*>(choices.data()), choices.size());
    watch::Replay replay;
    replay.take(watch::readRecord(input.rest()).lines, "", isStrict);
    while (!calls.isEmpty()) {
        const auto id = static_cast<watch::FunctionId>(calls.below(watch::kFunctions.size()));
        const Arguments arguments(watch::functionOf(id), calls);
        [[maybe_unused]] const CK_RV result = replay.call(id, arguments.words());
    }
}

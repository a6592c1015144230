#include <array>
#include <utility>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"
#include "zel/TString.h"

namespace {

using Fuzz::Input;
using Fuzz::require;

constexpr std::size_t kPairs = 4;

/// The same text twice.
struct Pair {
    Zel::TString text;
    std::wstring model;
};

void requireEqual(const Pair& pair) {
    require(pair.text.length() == pair.model.size() && pair.text.empty() == pair.model.empty(), "lengths are equal");
    require(std::wstring(pair.text.c_str(), pair.text.length()) == pair.model, "texts are equal");
    require(pair.text.data()[pair.text.length()] == L'\0', "a terminator stands behind the text");
}

int signOf(int number) {
    return (number > 0) - (number < 0);
}

std::wstring lower(std::wstring text) {
    for (wchar_t& character : text) {
        character = character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
    }
    return text;
}

void compare(const Pair& a, const Pair& b) {
    require(signOf(a.text.compare(b.text)) == signOf(a.model.compare(b.model)), "compare");
    require((a.text < b.text) == (a.model < b.model) && (a.text == b.text) == (a.model == b.model), "operators");
    require(signOf(a.text.compare(b.model.c_str())) == signOf(a.model.compare(b.model.c_str())),
            "compare with characters");
    const std::wstring lowerA = lower(a.model);
    const std::wstring lowerB = lower(b.model);
    require(signOf(a.text.compareIgnoreCase(b.text)) == signOf(lowerA.compare(lowerB)), "compareIgnoreCase");
    require(signOf(a.text.compareIgnoreCase(b.model.c_str())) == signOf(lowerA.compare(lowerB.c_str())),
            "compareIgnoreCase with characters");
}

void search(Input& input, const Pair& a, const Pair& b) {
    const std::size_t from = input.number<std::size_t>();
    require(a.text.find(b.text, from) == a.model.find(b.model, from), "find");
    const std::size_t count = input.number<std::size_t>();
    const Zel::TString part = a.text.substr(from, count);
    requireEqual({part, from < a.model.size() ? a.model.substr(from, count) : std::wstring()});
}

/// Operations whose argument is a part of the text that they change.
void useOwnCharacters(Input& input, Pair& pair) {
    const std::size_t from = input.below(256) % (pair.model.size() + 1);
    const wchar_t* const own = pair.text.c_str() + from;
    const std::wstring part = pair.model.substr(from);
    const std::wstring head(Fuzz::untilZero(part));
    switch (input.below(5)) {
    case 0:
        pair.text.append(own, static_cast<int>(part.size()));
        pair.model += part;
        break;
    case 1:
        pair.text.append(own);
        pair.model += head;
        break;
    case 2:
        pair.text.format(L"<%ws>", own);
        pair.model = L"<" + head + L">";
        break;
    case 3:
        pair.text.appendFormat(L"%s%ls", own, own);
        pair.model += head + head;
        break;
    default:
        pair.text = own;
        pair.model = head;
        break;
    }
}

void change(Input& input, Pair& pair, Pair& other) {
    const std::wstring given = input.text(60);
    switch (input.below(9)) {
    case 0:
        pair.text = Zel::TString(given.data(), static_cast<int>(given.size()));
        pair.model = given;
        break;
    case 1:
        pair.text = given.c_str();
        pair.model = Fuzz::untilZero(given);
        break;
    case 2:
        pair.text = other.text;
        pair.model = other.model;
        break;
    case 3:
        if (&pair != &other) {
            pair.text = std::move(other.text);
            pair.model = std::exchange(other.model, std::wstring());
            requireEqual(other);
        }
        break;
    case 4:
        pair.text.append(other.text);
        pair.model.append(std::wstring(other.model));
        break;
    case 5:
        pair.text.append(given.data(), static_cast<int>(given.size()));
        pair.model += given;
        break;
    case 6: {
        Pair moved{std::move(pair.text), pair.model};
        require(pair.text.empty(), "a text that was moved from is empty");
        requireEqual(moved);
        pair.text = Zel::TString(moved.text);
        break;
    }
    case 7:
        pair.text.clear();
        pair.model.clear();
        break;
    default:
        pair.text = static_cast<const wchar_t*>(nullptr);
        pair.text.append(nullptr, 5);
        pair.model.clear();
        break;
    }
}

} // namespace

void Fuzz::tstring(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kLongest = 4096;
    Input input(data, size);
    std::array<Pair, kPairs> pairs;
    while (!input.isEmpty()) {
        Pair& pair = pairs[input.below(kPairs)];
        Pair& other = pairs[input.below(kPairs)];
        switch (input.below(4)) {
        case 0:
            compare(pair, other);
            break;
        case 1:
            search(input, pair, other);
            break;
        case 2:
            useOwnCharacters(input, pair);
            break;
        default:
            change(input, pair, other);
            break;
        }
        if (pair.model.size() > kLongest) {
            pair = Pair();
        }
        for (const Pair& each : pairs) {
            requireEqual(each);
        }
    }
}

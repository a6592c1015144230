#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace {

using Fuzz::Input;
using Fuzz::require;

constexpr std::size_t kPairs = 3;
constexpr std::uint32_t kStep = 5;

int s_copiesLeft = -1; ///< copies until one fails; negative: none does
int s_alive = 0;

struct CopyFailed {};

void countCopy() {
    if (s_copiesLeft == 0) {
        s_copiesLeft = -1;
        throw CopyFailed();
    }
    s_copiesLeft -= s_copiesLeft > 0 ? 1 : 0;
}

/// An element whose copies are counted and may fail.
class Plain {
public:
    explicit Plain(int value) : m_value(value) { ++s_alive; }
    Plain(const Plain& other) : m_value(other.m_value) {
        countCopy();
        ++s_alive;
    }
    Plain& operator=(const Plain&) = delete;
    ~Plain() { --s_alive; }

    [[nodiscard]] int value() const { return m_value; }

private:
    int m_value;
};

/// An element that crosses the border of a library, and is destroyed as such.
class Crossing final : public Zel::BaseDLLObjectImpl<Zel::BaseDLLInterface> {
public:
    explicit Crossing(int value) : m_plain(value) {}
    Crossing(const Crossing&) = default;
    Crossing& operator=(const Crossing&) = delete;
    ~Crossing() = default;

    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
    [[nodiscard]] int value() const { return m_plain.value(); }

private:
    Plain m_plain;
};

template <class T>
struct Pair {
    Zel::Vector<T> vector;
    std::vector<int> model;
    std::uint32_t capacity = kStep;
};

template <class T>
void requireEqual(const Pair<T>& pair) {
    require(pair.vector.size() == pair.model.size() && pair.vector.isEmpty() == pair.model.empty(), "sizes are equal");
    require(pair.vector.capacity() == pair.capacity, "capacities are as told");
    for (std::uint32_t i = 0; i < pair.vector.size(); ++i) {
        require(pair.vector.at(i)->value() == pair.model[i], "elements are equal");
    }
}

template <class T>
void requireNoElement(const Pair<T>& pair, std::uint32_t index) {
    try {
        static_cast<void>(pair.vector.at(index));
        require(index < pair.model.size(), "an element that is not there is refused");
    } catch (const std::out_of_range& error) {
        require(index >= pair.model.size(), "an element that is there is given");
        require(std::string_view(error.what()) == "Position exceeds range of vector elements", "the message");
    }
}

void addToModel(std::vector<int>& model, std::uint32_t& capacity, int value) {
    capacity += model.size() == capacity ? kStep : 0;
    model.push_back(value);
}

/// Appends as many as were copied before one failed.
template <class T>
void appendToModel(Pair<T>& pair, const std::vector<int>& values, std::size_t copied) {
    const auto wanted = static_cast<std::uint32_t>(pair.model.size() + values.size());
    pair.capacity = std::max(pair.capacity, wanted);
    pair.model.insert(pair.model.end(), values.begin(), values.begin() + static_cast<std::ptrdiff_t>(copied));
}

template <class T>
void addOne(Pair<T>& pair, const T& element, int value) {
    const bool fails = s_copiesLeft == 0;
    try {
        pair.vector.add(element);
        require(!fails, "a copy that fails is told");
        addToModel(pair.model, pair.capacity, value);
    } catch (const CopyFailed&) {
        require(fails, "a copy fails only when told to");
        pair.capacity += pair.model.size() == pair.capacity ? kStep : 0;
    }
}

template <class T>
void addMany(Pair<T>& pair, const Pair<T>& other, bool isAssigned) {
    const std::vector<int> values = other.model;
    const std::size_t copied =
        s_copiesLeft < 0 ? values.size() : std::min(values.size(), static_cast<std::size_t>(s_copiesLeft));
    const bool fails = copied < values.size();
    if (isAssigned && &pair == &other) {
        pair.vector.assign(other.vector);
        return;
    }
    try {
        if (isAssigned) {
            pair.vector = other.vector;
        } else {
            pair.vector.append(other.vector);
        }
        require(!fails, "a copy that fails is told");
    } catch (const CopyFailed&) {
        require(fails, "a copy fails only when told to");
    }
    if (isAssigned) {
        pair.model.clear();
        pair.capacity = other.capacity + kStep;
    }
    appendToModel(pair, values, copied);
}

template <class T>
void copy(const Pair<T>& pair) {
    try {
        const Pair<T> copied{Zel::Vector<T>(pair.vector), pair.model,
                             std::max(kStep, static_cast<std::uint32_t>(pair.model.size()))};
        requireEqual(copied);
    } catch (const CopyFailed&) {
    }
}

template <class T>
void step(Input& input, Pair<T>& pair, Pair<T>& other) {
    const int value = input.byte();
    switch (input.below(7)) {
    case 0: {
        const T element(value);
        addOne(pair, element, value);
        break;
    }
    case 1:
        if (!pair.model.empty()) {
            const auto index = static_cast<std::uint32_t>(static_cast<std::size_t>(value) % pair.model.size());
            addOne(pair, *pair.vector.at(index), pair.model[index]);
        }
        break;
    case 2:
        addMany(pair, other, false);
        break;
    case 3:
        addMany(pair, other, true);
        break;
    case 4:
        pair.vector.clear();
        pair.model.clear();
        pair.capacity = kStep;
        break;
    case 5:
        copy(pair);
        break;
    default:
        requireNoElement(pair, input.number<std::uint32_t>());
        s_copiesLeft = input.boolean() ? value : -1;
        break;
    }
}

template <class T>
void run(Input& input) {
    constexpr std::size_t kMost = 200;
    {
        std::array<Pair<T>, kPairs> pairs;
        while (!input.isEmpty()) {
            Pair<T>& pair = pairs[input.below(kPairs)];
            step(input, pair, pairs[input.below(kPairs)]);
            if (pair.model.size() > kMost || pair.capacity > kMost) {
                pair.vector.clear();
                pair.model.clear();
                pair.capacity = kStep;
            }
            for (const Pair<T>& each : pairs) {
                requireEqual(each);
            }
        }
    }
    s_copiesLeft = -1;
    require(s_alive == 0, "every element was destroyed once");
}

} // namespace

void Fuzz::vector(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    if (input.boolean()) {
        run<Plain>(input);
    } else {
        run<Crossing>(input);
    }
}

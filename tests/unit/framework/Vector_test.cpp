#include "zel/Vector.h"

#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "zel/Parameter.h"
#include "zel/TString.h"

using Zel::TString;
using Zel::Vector;

namespace {

/// Counts its objects, and refuses to be copied when told to.
class Counted {
public:
    explicit Counted(int value) : m_value(value) { ++s_alive; }
    Counted(const Counted& other) : m_value(other.m_value) {
        if (s_copiesLeft == 0) {
            throw std::runtime_error("no copy");
        }
        --s_copiesLeft;
        ++s_alive;
    }
    Counted& operator=(const Counted&) = delete;
    virtual ~Counted() { --s_alive; }

    [[nodiscard]] int value() const { return m_value; }

    static inline int s_alive = 0;
    static inline int s_copiesLeft = -1;

private:
    int m_value;
};

/// Lends the protected operation to the test.
class GrowingVector : public Vector<Counted> {
public:
    using Vector<Counted>::grow;
};

/// Crosses the border itself: must be ended through the interface.
class Bordered final : public Zel::BaseDLLObjectImpl<Zel::BaseDLLInterface> {
public:
    void* deletingDestructor(unsigned int flags) override {
        ++s_ended;
        return runDestructor(this, flags);
    }
    static inline int s_ended = 0;
};

class VectorTest : public testing::Test {
protected:
    void SetUp() override {
        Counted::s_alive = 0;
        Counted::s_copiesLeft = -1;
    }
    void TearDown() override { EXPECT_EQ(Counted::s_alive, 0); }
};

void fill(Vector<Counted>& vector, int count, int first = 0) {
    for (int i = 0; i < count; ++i) {
        vector.add(Counted(first + i));
    }
}

std::string values(const Vector<Counted>& vector) {
    std::string text;
    for (std::uint32_t i = 0; i < vector.size(); ++i) {
        text += std::to_string(vector.at(i)->value()) + " ";
    }
    return text;
}

template <class Call>
std::string outOfRange(Call call) {
    try {
        call();
    } catch (const std::out_of_range& failure) {
        return failure.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST_F(VectorTest, IsEmptyWithRoomForFiveAtFirst) {
    const Vector<Counted> vector;
    EXPECT_EQ(vector.size(), 0U);
    EXPECT_EQ(vector.capacity(), 5U);
    EXPECT_TRUE(vector.isEmpty());
}

TEST_F(VectorTest, GrowsByFiveWithTheSixthElement) {
    Vector<Counted> vector;
    fill(vector, 5);
    EXPECT_EQ(vector.capacity(), 5U);
    fill(vector, 1, 5);
    EXPECT_EQ(vector.capacity(), 10U);
    EXPECT_EQ(vector.size(), 6U);
    EXPECT_FALSE(vector.isEmpty());
    fill(vector, 5, 6);
    EXPECT_EQ(vector.capacity(), 15U);
    EXPECT_EQ(values(vector), "0 1 2 3 4 5 6 7 8 9 10 ");
}

TEST_F(VectorTest, OwnsCopiesWhoseAddressesStay) {
    Vector<Counted> vector;
    const Counted original(7);
    vector.add(original);
    Counted* const first = vector.at(0);
    EXPECT_NE(first, &original);
    fill(vector, 20);
    EXPECT_EQ(vector.at(0), first);
}

TEST_F(VectorTest, AddsACopyOfItsOwnElement) {
    Vector<Counted> vector;
    fill(vector, 5, 1);
    vector.add(*vector.at(0));
    EXPECT_EQ(values(vector), "1 2 3 4 5 1 ");
}

TEST_F(VectorTest, RefusesPositionsBehindTheLast) {
    Vector<Counted> vector;
    const std::string expected = "Position exceeds range of vector elements";
    EXPECT_EQ(outOfRange([&] { (void)vector.at(0); }), expected);
    fill(vector, 2);
    EXPECT_EQ(vector.at(1)->value(), 1);
    EXPECT_EQ(outOfRange([&] { (void)vector.at(2); }), expected);
    EXPECT_EQ(outOfRange([&] { (void)vector.at(UINT32_MAX); }), expected);
    vector.clear();
    EXPECT_EQ(outOfRange([&] { (void)vector.at(0); }), expected);
}

TEST_F(VectorTest, ClearDestroysElementsAndGoesBackToFive) {
    Vector<Counted> vector;
    fill(vector, 12);
    EXPECT_EQ(Counted::s_alive, 12);
    EXPECT_EQ(vector.capacity(), 15U);
    vector.clear();
    EXPECT_EQ(Counted::s_alive, 0);
    EXPECT_EQ(vector.size(), 0U);
    EXPECT_EQ(vector.capacity(), 5U);
    fill(vector, 1);
    EXPECT_EQ(values(vector), "0 ");
}

TEST_F(VectorTest, AppendsIntoFreePlacesWithoutGrowing) {
    Vector<Counted> vector;
    Vector<Counted> other;
    fill(vector, 2);
    fill(other, 3, 10);
    vector.append(other);
    EXPECT_EQ(vector.capacity(), 5U);
    EXPECT_EQ(values(vector), "0 1 10 11 12 ");
    EXPECT_EQ(values(other), "10 11 12 ");
}

TEST_F(VectorTest, AppendGrowsByExactlyTheShortfall) {
    Vector<Counted> vector;
    Vector<Counted> other;
    fill(vector, 4);
    fill(other, 3, 10);
    vector.append(other); // one place is free, three are needed
    EXPECT_EQ(vector.capacity(), 7U);
    EXPECT_EQ(values(vector), "0 1 2 3 10 11 12 ");
    fill(vector, 1, 20);
    EXPECT_EQ(vector.capacity(), 12U);
}

TEST_F(VectorTest, AppendOfNothingChangesNothing) {
    Vector<Counted> vector;
    fill(vector, 5);
    vector.append(Vector<Counted>());
    EXPECT_EQ(vector.capacity(), 5U);
    EXPECT_EQ(vector.size(), 5U);
}

TEST_F(VectorTest, AppendsItself) {
    Vector<Counted> vector;
    fill(vector, 4);
    vector.append(vector);
    EXPECT_EQ(values(vector), "0 1 2 3 0 1 2 3 ");
    EXPECT_EQ(vector.capacity(), 8U);
}

TEST_F(VectorTest, AssignMakesRoomForFiveMoreThanTheSourceHas) {
    Vector<Counted> vector;
    Vector<Counted> source;
    fill(vector, 7);
    fill(source, 6, 10);
    vector.assign(source);
    EXPECT_EQ(values(vector), "10 11 12 13 14 15 ");
    EXPECT_EQ(vector.capacity(), 15U); // the source has 10
    EXPECT_EQ(Counted::s_alive, 12);
    source.clear();
    EXPECT_EQ(values(vector), "10 11 12 13 14 15 ");
    vector = source;
    EXPECT_EQ(vector.size(), 0U);
    EXPECT_EQ(vector.capacity(), 10U); // the source has 5
}

TEST_F(VectorTest, AssignOfItselfDoesNothing) {
    Vector<Counted> vector;
    fill(vector, 3);
    const Counted* const first = vector.at(0);
    vector.assign(vector);
    EXPECT_EQ(values(vector), "0 1 2 ");
    EXPECT_EQ(vector.at(0), first);
    EXPECT_EQ(vector.capacity(), 5U);
}

TEST_F(VectorTest, CopiesAreDeep) {
    Vector<Counted> vector;
    fill(vector, 7);
    const Vector<Counted> copy(vector);
    EXPECT_NE(copy.at(0), vector.at(0));
    EXPECT_EQ(copy.capacity(), 7U);
    vector.clear();
    EXPECT_EQ(values(copy), "0 1 2 3 4 5 6 ");
}

TEST_F(VectorTest, GrowKeepsTheElements) {
    GrowingVector vector;
    fill(vector, 3);
    vector.grow(4);
    EXPECT_EQ(vector.capacity(), 9U);
    EXPECT_EQ(values(vector), "0 1 2 ");
}

TEST_F(VectorTest, GrowRefusesACapacityThatWrapsBelowTheSize) {
    GrowingVector vector;
    fill(vector, 5);
    EXPECT_EQ(outOfRange([&] { vector.grow(UINT32_MAX); }), "Current size superior at next capacity");
    EXPECT_EQ(vector.capacity(), 5U);
    EXPECT_EQ(values(vector), "0 1 2 3 4 ");
}

TEST_F(VectorTest, AFailedAddLeavesTheVectorAsItWas) {
    Vector<Counted> vector;
    fill(vector, 5);
    const Counted one(9);
    Counted::s_copiesLeft = 0;
    EXPECT_THROW(vector.add(one), std::runtime_error);
    EXPECT_EQ(values(vector), "0 1 2 3 4 ");
    Counted::s_copiesLeft = -1;
    vector.add(one);
    EXPECT_EQ(values(vector), "0 1 2 3 4 9 ");
}

TEST_F(VectorTest, AFailedAppendKeepsWhatItAdded) {
    Vector<Counted> vector;
    Vector<Counted> other;
    fill(vector, 1);
    fill(other, 6, 10);
    Counted::s_copiesLeft = 2;
    EXPECT_THROW(vector.append(other), std::runtime_error);
    EXPECT_EQ(values(vector), "0 10 11 ");
}

TEST_F(VectorTest, AFailedCopyLeavesNothing) {
    Vector<Counted> vector;
    fill(vector, 4);
    Counted::s_copiesLeft = 2;
    EXPECT_THROW(const Vector<Counted> copy(vector), std::runtime_error);
    EXPECT_EQ(Counted::s_alive, 4);
}

TEST_F(VectorTest, ElementsOfTheBorderEndThroughTheirInterface) {
    Bordered::s_ended = 0;
    {
        Vector<Bordered> vector;
        const Bordered one;
        vector.add(one);
        vector.add(one);
        vector.clear();
        EXPECT_EQ(Bordered::s_ended, 2);
        vector.add(one);
    }
    EXPECT_EQ(Bordered::s_ended, 3);
}

TEST_F(VectorTest, HoldsParametersAndTexts) {
    auto* const parameters = new Vector<Zel::Parameter>();
    for (int i = 0; i < 6; ++i) {
        parameters->add(
            Zel::Parameter(Zel::ParameterEncoding::Plain, TString().format(L"%d", i), Zel::ParameterType::Text, L"v"));
    }
    EXPECT_STREQ(parameters->at(5)->getId().c_str(), L"5");
    EXPECT_EQ(parameters->capacity(), 10U);
    parameters->destroy();
    auto* const texts = new Vector<TString>();
    texts->add(L"a text that is longer than what fits inside");
    EXPECT_STREQ(texts->at(0)->c_str(), L"a text that is longer than what fits inside");
    texts->destroy();
}

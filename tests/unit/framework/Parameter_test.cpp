#include "zel/Parameter.h"

#include <gtest/gtest.h>

using Zel::Parameter;
using Zel::ParameterEncoding;
using Zel::ParameterType;
using Zel::TString;

TEST(Parameter, KeepsWhatItWasGiven) {
    const Parameter parameter(ParameterEncoding::Plain, L"ERROR", ParameterType::Text, L"80ec");
    EXPECT_STREQ(parameter.getId().c_str(), L"ERROR");
    EXPECT_STREQ(parameter.getValue().c_str(), L"80ec");
    EXPECT_EQ(parameter.getEncodingEnum(), ParameterEncoding::Plain);
    EXPECT_EQ(parameter.getTypeEnum(), ParameterType::Text);
}

TEST(Parameter, NumbersAreTheHostsContract) {
    EXPECT_EQ(static_cast<int>(ParameterEncoding::Text), 0);
    EXPECT_EQ(static_cast<int>(ParameterEncoding::Base64), 1);
    EXPECT_EQ(static_cast<int>(ParameterEncoding::Plain), 2);
    EXPECT_EQ(static_cast<int>(ParameterEncoding::Hexadecimal), 4);
    EXPECT_EQ(static_cast<int>(ParameterType::Raw), 0);
    EXPECT_EQ(static_cast<int>(ParameterType::Number), 1);
    EXPECT_EQ(static_cast<int>(ParameterType::Binary), 2);
    EXPECT_EQ(static_cast<int>(ParameterType::Text), 3);
}

TEST(Parameter, CarriesNumbersThatHaveNoName) {
    const Parameter parameter(static_cast<ParameterEncoding>(77), L"ID", static_cast<ParameterType>(-5), L"");
    EXPECT_EQ(static_cast<int>(parameter.getEncodingEnum()), 77);
    EXPECT_EQ(static_cast<int>(parameter.getTypeEnum()), -5);
}

TEST(Parameter, CopiesAreIndependent) {
    Parameter original(ParameterEncoding::Plain, L"PIN", ParameterType::Text, L"1234");
    const Parameter copy(original);
    Parameter assigned(ParameterEncoding::Base64, L"other", ParameterType::Raw, L"other");
    assigned = original;
    original.setValue(L"changed");
    EXPECT_STREQ(original.getValue().c_str(), L"changed");
    EXPECT_STREQ(copy.getValue().c_str(), L"1234");
    EXPECT_STREQ(assigned.getId().c_str(), L"PIN");
    EXPECT_STREQ(assigned.getValue().c_str(), L"1234");
    EXPECT_EQ(assigned.getEncodingEnum(), ParameterEncoding::Plain);
    EXPECT_EQ(assigned.getTypeEnum(), ParameterType::Text);
}

TEST(Parameter, IsDestroyedThroughItsInterface) {
    Zel::BaseDLLInterface* const parameter =
        new Parameter(ParameterEncoding::Plain, L"ID", ParameterType::Text, L"a value that is too long to live inside");
    parameter->destroy();
}

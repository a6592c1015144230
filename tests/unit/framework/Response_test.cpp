#include "zel/ClientOperationResponse.h"

#include <gtest/gtest.h>

using Zel::ClientOperationResponse;
using Zel::Parameter;
using Zel::Vector;

TEST(Response, IsEmptyAtFirst) {
    const ClientOperationResponse response;
    EXPECT_TRUE(response.getId().empty());
    EXPECT_TRUE(response.getResponseParameters().isEmpty());
}

TEST(Response, KeepsACopyOfTheParameters) {
    auto* const response = new ClientOperationResponse();
    {
        Vector<Parameter> parameters;
        parameters.add(Parameter(Zel::ParameterEncoding::Plain, L"ERROR", Zel::ParameterType::Text, L"0"));
        response->setId(L"7");
        response->setResponseParameters(parameters);
        parameters.at(0)->setValue(L"changed");
    }
    EXPECT_STREQ(response->getId().c_str(), L"7");
    ASSERT_EQ(response->getResponseParameters().size(), 1U);
    EXPECT_STREQ(response->getResponseParameters().at(0)->getId().c_str(), L"ERROR");
    EXPECT_STREQ(response->getResponseParameters().at(0)->getValue().c_str(), L"0");
    response->setResponseParameters(response->getResponseParameters());
    EXPECT_EQ(response->getResponseParameters().size(), 1U);
    response->setResponseParameters(Vector<Parameter>());
    EXPECT_TRUE(response->getResponseParameters().isEmpty());
    response->destroy();
}

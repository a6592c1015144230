#include "scripts/common/Keywords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace plugin;

namespace {

// The tables, row by row

struct Row {
    const wchar_t* id;
    CK_ATTRIBUTE_TYPE attribute;
    KeywordForm form;
    KeywordHalf half;
};

void expectRows(std::span<const Keyword> keywords, const std::vector<Row>& rows) {
    ASSERT_EQ(keywords.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(rows[i].id)));
        EXPECT_EQ(std::wstring(keywords[i].id), rows[i].id);
        EXPECT_EQ(keywords[i].attribute, rows[i].attribute);
        EXPECT_EQ(keywords[i].form, rows[i].form);
        EXPECT_EQ(keywords[i].half, rows[i].half);
    }
}

TEST(Keywords, OfKeys) {
    expectRows(keyKeywords(), {
                                  {L"TOKEN", 0x001, KeywordForm::Boolean, KeywordHalf::Both},
                                  {L"PRIVATE_PRK", 0x002, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"PRIVATE_PUK", 0x002, KeywordForm::Boolean, KeywordHalf::Public},
                                  {L"MODIFIABLE", 0x170, KeywordForm::Boolean, KeywordHalf::Both},
                                  {L"DERIVE", 0x10C, KeywordForm::Boolean, KeywordHalf::Both},
                                  {L"SENSITIVE", 0x103, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"LABEL", 0x003, KeywordForm::Label, KeywordHalf::Both},
                                  {L"SUBJECT", 0x101, KeywordForm::Bytes, KeywordHalf::Both},
                                  {L"ID", 0x102, KeywordForm::Bytes, KeywordHalf::Both},
                                  {L"ENCRYPT", 0x104, KeywordForm::Boolean, KeywordHalf::Public},
                                  {L"DECRYPT", 0x105, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"SIGN", 0x108, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"SIGN_RECOVER", 0x109, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"WRAP", 0x106, KeywordForm::Boolean, KeywordHalf::Public},
                                  {L"UNWRAP", 0x107, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"EXTRACTABLE", 0x162, KeywordForm::Boolean, KeywordHalf::Private},
                                  {L"VERIFY", 0x10A, KeywordForm::Boolean, KeywordHalf::Public},
                                  {L"VERIFY_RECOVER", 0x10B, KeywordForm::Boolean, KeywordHalf::Public},
                              });
}

TEST(Keywords, OfCertificates) {
    expectRows(certificateKeywords(), {
                                          {L"LABEL", 0x003, KeywordForm::Label, KeywordHalf::Public},
                                          {L"SUBJECT", 0x101, KeywordForm::Bytes, KeywordHalf::Public},
                                          {L"ID", 0x102, KeywordForm::Bytes, KeywordHalf::Public},
                                          {L"ISSUER", 0x081, KeywordForm::Bytes, KeywordHalf::Public},
                                          {L"SN", 0x082, KeywordForm::Bytes, KeywordHalf::Public},
                                          {L"TOKEN", 0x001, KeywordForm::Boolean, KeywordHalf::Public},
                                          {L"PRIVATE", 0x002, KeywordForm::Boolean, KeywordHalf::Public},
                                          {L"MODIFIABLE", 0x170, KeywordForm::Boolean, KeywordHalf::Public},
                                          {L"CERT_CATEGORY", 0x087, KeywordForm::Category, KeywordHalf::Public},
                                      });
}

TEST(Keywords, OfTheSearchForPublicKeys) {
    expectRows(keySearchKeywords(), {
                                        {L"ALGOID", 0x100, KeywordForm::RsaAlgorithm, KeywordHalf::Public},
                                        {L"LABEL", 0x003, KeywordForm::Label, KeywordHalf::Public},
                                        {L"SUBJECT", 0x101, KeywordForm::Bytes, KeywordHalf::Public},
                                        {L"ID", 0x102, KeywordForm::Bytes, KeywordHalf::Public},
                                        {L"TOKEN", 0x001, KeywordForm::Boolean, KeywordHalf::Public},
                                        {L"PRIVATE", 0x002, KeywordForm::Boolean, KeywordHalf::Public},
                                        {L"MODIFIABLE", 0x170, KeywordForm::Boolean, KeywordHalf::Public},
                                    });
}

TEST(Keywords, RsaEncryptionIsNamedByItsObjectIdentifier) {
    EXPECT_EQ(std::wstring(kRsaEncryption), L"1.2.840.113549.1.1.1");
}

// What they do to templates

/// The value of an attribute, "none" when it has no entry.
std::string valueIn(const AttributeTemplate& attributes, CK_ATTRIBUTE_TYPE type) {
    const std::optional<std::size_t> place = attributes.find(type);
    if (!place) {
        return "none";
    }
    const std::span<const std::uint8_t> value = attributes.valueAt(*place);
    return {value.begin(), value.end()};
}

std::string numberText(CK_ULONG number) {
    std::string text(sizeof number, '\0');
    std::memcpy(text.data(), &number, sizeof number);
    return text;
}

class KeywordsApplied : public ::testing::Test {
protected:
    void SetUp() override { rylogSetReceiver(&receive, this, 1); }
    void TearDown() override { rylogSetReceiver(nullptr, nullptr, 0); }

    void param(const wchar_t* id, const wchar_t* value) {
        m_params.add(Zel::Parameter(Zel::ParameterEncoding::Plain, id, Zel::ParameterType::Text, value));
    }
    /// The code of the result: "0" or "80ec".
    std::wstring apply(std::span<const Keyword> keywords, AttributeTemplate* publicOne, AttributeTemplate* privateOne,
                       UnreadableLabel label = UnreadableLabel::Skipped) {
        const Trace trace(L"aMethod");
        const Zel::TString code = errorText(applyKeywords(trace, m_params, keywords, label, publicOne, privateOne));
        return {code.data(), code.length()};
    }
    std::wstring applyOne(std::span<const Keyword> keywords, UnreadableLabel label = UnreadableLabel::Skipped) {
        return apply(keywords, &m_public, nullptr, label);
    }

    Zel::Vector<Zel::Parameter> m_params;
    AttributeTemplate m_public{14, {CKA_CLASS, CKA_SUBJECT}};
    AttributeTemplate m_private{14};
    std::vector<std::string> m_complaints;

private:
    static void receive(void* context, const RylogRecord* record) {
        static_cast<KeywordsApplied*>(context)->m_complaints.emplace_back(record->text);
    }
};

TEST_F(KeywordsApplied, NothingIsSetWithoutParameters) {
    EXPECT_EQ(apply(keyKeywords(), &m_public, &m_private), L"0");
    EXPECT_EQ(m_public.count(), 0U);
    EXPECT_EQ(m_private.count(), 0U);
}

TEST_F(KeywordsApplied, OthersAreSkipped) {
    param(L"DATA", L"1");
    param(L"label", L"41");
    param(L"", L"41");
    param(L"ISSUER", L"41");
    EXPECT_EQ(apply(keyKeywords(), &m_public, &m_private), L"0");
    EXPECT_EQ(m_public.count(), 0U);
    EXPECT_EQ(m_private.count(), 0U);
}

TEST_F(KeywordsApplied, EachHalfGetsItsOwn) {
    param(L"ENCRYPT", L"1");
    param(L"SIGN", L"1");
    param(L"ID", L"4142");
    EXPECT_EQ(apply(keyKeywords(), &m_public, &m_private), L"0");
    ASSERT_EQ(m_public.count(), 2U);
    EXPECT_EQ(m_public.at(0).type, CKA_ENCRYPT);
    EXPECT_EQ(m_public.at(1).type, CKA_ID);
    ASSERT_EQ(m_private.count(), 2U);
    EXPECT_EQ(m_private.at(0).type, CKA_SIGN);
    EXPECT_EQ(m_private.at(1).type, CKA_ID);
    EXPECT_EQ(valueIn(m_public, CKA_ID), "AB");
    EXPECT_EQ(valueIn(m_private, CKA_ID), "AB");
    EXPECT_NE(m_public.at(1).pValue, m_private.at(1).pValue);
}

TEST_F(KeywordsApplied, PrivateIsAKeywordForEachHalf) {
    param(L"PRIVATE_PUK", L"0");
    param(L"PRIVATE_PRK", L"1");
    EXPECT_EQ(apply(keyKeywords(), &m_public, &m_private), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_PRIVATE), std::string("\0", 1));
    EXPECT_EQ(valueIn(m_private, CKA_PRIVATE), std::string("\1", 1));
}

TEST_F(KeywordsApplied, AHalfThatIsNotThereIsLeftOut) {
    param(L"ENCRYPT", L"1");
    param(L"SIGN", L"1");
    param(L"LABEL", L"41");
    EXPECT_EQ(apply(keyKeywords(), nullptr, &m_private), L"0");
    EXPECT_EQ(m_private.count(), 2U);
    EXPECT_EQ(apply(keyKeywords(), &m_public, nullptr), L"0");
    EXPECT_EQ(m_public.count(), 2U);
    EXPECT_EQ(apply(keyKeywords(), nullptr, nullptr), L"0");
}

TEST_F(KeywordsApplied, AFixedEntryIsOverwritten) {
    m_public.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    m_public.setBoolean(CKA_TOKEN, true);
    m_public.endFixed();
    param(L"TOKEN", L"1");
    param(L"TOKEN", L"0");
    EXPECT_EQ(applyOne(keyKeywords()), L"0");
    EXPECT_EQ(m_public.count(), 2U);
    EXPECT_EQ(m_public.find(CKA_TOKEN), 1U);
    EXPECT_EQ(valueIn(m_public, CKA_TOKEN), std::string("\0", 1));
}

TEST_F(KeywordsApplied, OnlyOneIsTrue) {
    const std::vector<std::pair<const wchar_t*, bool>> values = {
        {L"1", true}, {L"0", false}, {L"", false}, {L"true", false}, {L"TRUE", false}, {L"01", false}, {L"1 ", false}};
    for (const auto& [text, expected] : values) {
        m_params.clear();
        param(L"MODIFIABLE", text);
        EXPECT_EQ(applyOne(certificateKeywords()), L"0");
        EXPECT_EQ(valueIn(m_public, CKA_MODIFIABLE), std::string(1, expected ? '\1' : '\0'));
    }
}

TEST_F(KeywordsApplied, BytesKeepTheirZeroes) {
    param(L"SUBJECT", L"0041004200");
    param(L"SN", L"00");
    EXPECT_EQ(applyOne(certificateKeywords()), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_SUBJECT), std::string("\0A\0B\0", 5));
    EXPECT_EQ(valueIn(m_public, CKA_SERIAL_NUMBER), std::string("\0", 1));
}

TEST_F(KeywordsApplied, BytesThatDecodeToNothingSetNothing) {
    for (const wchar_t* id : {L"SUBJECT", L"ID", L"ISSUER", L"SN"}) {
        param(id, L"");
        param(id, L"4");
        param(id, L"xy");
    }
    EXPECT_EQ(applyOne(certificateKeywords(), UnreadableLabel::Counted), L"0");
    EXPECT_EQ(m_public.count(), 0U);
    EXPECT_TRUE(m_complaints.empty());
}

TEST_F(KeywordsApplied, ALabelEndsAtItsFirstZeroByte) {
    param(L"LABEL", L"41004200");
    EXPECT_EQ(applyOne(certificateKeywords()), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_LABEL), "A");
}

TEST_F(KeywordsApplied, ALabelThatBeginsWithAZeroByteIsAnEntryOfLengthZero) {
    param(L"LABEL", L"0041");
    EXPECT_EQ(applyOne(certificateKeywords(), UnreadableLabel::Counted), L"0");
    ASSERT_EQ(m_public.count(), 1U);
    EXPECT_EQ(m_public.at(0).type, CKA_LABEL);
    EXPECT_EQ(m_public.at(0).ulValueLen, 0U);
}

TEST_F(KeywordsApplied, AnUnreadableLabelIsSkippedWhereItIsToBe) {
    param(L"LABEL", L"");
    param(L"LABEL", L"label");
    EXPECT_EQ(applyOne(certificateKeywords(), UnreadableLabel::Skipped), L"0");
    EXPECT_EQ(m_public.count(), 0U);
}

TEST_F(KeywordsApplied, AnUnreadableLabelIsCountedWhereItIsToBe) {
    for (const wchar_t* value : {L"", L"label", L"414"}) {
        AttributeTemplate attributes(3, {CKA_CLASS, CKA_SUBJECT});
        attributes.setNumber(CKA_CLASS, 1);
        m_params.clear();
        param(L"LABEL", value);
        param(L"ID", L"41");
        EXPECT_EQ(apply(certificateKeywords(), &attributes, nullptr, UnreadableLabel::Counted), L"0");
        ASSERT_EQ(attributes.count(), 3U);
        EXPECT_EQ(attributes.at(1).type, CKA_SUBJECT);
        EXPECT_EQ(attributes.at(1).pValue, nullptr);
        EXPECT_EQ(attributes.at(1).ulValueLen, 0U);
        EXPECT_EQ(attributes.at(2).type, CKA_ID);
    }
}

TEST_F(KeywordsApplied, CategoriesAreNumbers) {
    param(L"CERT_CATEGORY", L"USER");
    EXPECT_EQ(applyOne(certificateKeywords()), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_CERTIFICATE_CATEGORY), numberText(1));
    param(L"CERT_CATEGORY", L"CA");
    EXPECT_EQ(applyOne(certificateKeywords()), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_CERTIFICATE_CATEGORY), numberText(2));
}

TEST_F(KeywordsApplied, AnUnknownCategoryEndsItAndIsToldAsAType) {
    param(L"ID", L"41");
    param(L"CERT_CATEGORY", L"ca");
    param(L"LABEL", L"42");
    EXPECT_EQ(applyOne(certificateKeywords()), L"80ec");
    EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter CERT_TYPE: ca"});
    EXPECT_EQ(m_public.find(CKA_LABEL), std::nullopt);
}

TEST_F(KeywordsApplied, RsaEncryptionIsTheKeyType) {
    param(L"ALGOID", L"1.2.840.113549.1.1.1");
    EXPECT_EQ(applyOne(keySearchKeywords()), L"0");
    EXPECT_EQ(valueIn(m_public, CKA_KEY_TYPE), numberText(CKK_RSA));
}

TEST_F(KeywordsApplied, AnotherAlgorithmEndsIt) {
    param(L"ALGOID", L"1.2.840.113549.1.1.11");
    param(L"LABEL", L"42");
    EXPECT_EQ(applyOne(keySearchKeywords()), L"80ec");
    EXPECT_EQ(m_complaints,
              std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter ALGOID: 1.2.840.113549.1.1.11"});
    EXPECT_EQ(m_public.count(), 0U);
}

TEST_F(KeywordsApplied, ARepeatedKeywordAppendsAnotherEntry) {
    param(L"LABEL", L"41");
    param(L"ID", L"42");
    param(L"LABEL", L"43");
    param(L"MODIFIABLE", L"1");
    param(L"CERT_CATEGORY", L"USER");
    param(L"MODIFIABLE", L"0");
    param(L"CERT_CATEGORY", L"CA");
    EXPECT_EQ(applyOne(certificateKeywords()), L"0");
    const std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::string>> expected = {{CKA_LABEL, "A"},
                                                                             {CKA_ID, "B"},
                                                                             {CKA_LABEL, "C"},
                                                                             {CKA_MODIFIABLE, std::string("\1", 1)},
                                                                             {CKA_CERTIFICATE_CATEGORY, numberText(1)},
                                                                             {CKA_MODIFIABLE, std::string("\0", 1)},
                                                                             {CKA_CERTIFICATE_CATEGORY, numberText(2)}};
    ASSERT_EQ(m_public.count(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::span<const std::uint8_t> value = m_public.valueAt(i);
        EXPECT_EQ(m_public.at(i).type, expected[i].first) << i;
        EXPECT_EQ(std::string(value.begin(), value.end()), expected[i].second) << i;
    }
}

TEST_F(KeywordsApplied, ARepeatedKeywordOfBothHalvesAppendsToBoth) {
    param(L"ID", L"41");
    param(L"ID", L"42");
    EXPECT_EQ(apply(keyKeywords(), &m_public, &m_private), L"0");
    for (const AttributeTemplate* half : {&m_public, &m_private}) {
        ASSERT_EQ(half->count(), 2U);
        EXPECT_EQ(half->valueAt(0)[0], 'A');
        EXPECT_EQ(half->valueAt(1)[0], 'B');
        EXPECT_EQ(half->at(1).type, CKA_ID);
    }
}

// Where there is no more room

class KeywordsWithoutRoom : public KeywordsApplied {
protected:
    /// A template with one fixed entry, CKA_TOKEN, and no room behind it.
    static void fill(AttributeTemplate& attributes) {
        attributes.setBoolean(CKA_TOKEN, true);
        attributes.endFixed();
    }
    void expectRefused(std::span<const Keyword> keywords, const wchar_t* id, const wchar_t* value,
                       const std::string& complaint, UnreadableLabel label = UnreadableLabel::Skipped) {
        AttributeTemplate full(1);
        fill(full);
        m_params.clear();
        m_complaints.clear();
        param(id, value);
        EXPECT_EQ(apply(keywords, &full, nullptr, label), L"80ec") << complaint;
        EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter " + complaint});
        EXPECT_EQ(full.count(), 1U) << complaint;
    }
};

TEST_F(KeywordsWithoutRoom, EveryFormIsToldWithItsKeywordAndValue) {
    const std::span<const Keyword> certificates = certificateKeywords();
    expectRefused(certificates, L"LABEL", L"4142", "LABEL: 4142");
    expectRefused(certificates, L"SUBJECT", L"43", "SUBJECT: 43");
    expectRefused(certificates, L"ID", L"0a", "ID: 0a");
    expectRefused(certificates, L"ISSUER", L"45", "ISSUER: 45");
    expectRefused(certificates, L"SN", L"46", "SN: 46");
    expectRefused(certificates, L"PRIVATE", L"1", "PRIVATE: 1");
    expectRefused(certificates, L"MODIFIABLE", L"maybe", "MODIFIABLE: maybe");
    expectRefused(certificates, L"CERT_CATEGORY", L"CA", "CERT_CATEGORY: CA");
    expectRefused(keySearchKeywords(), L"ALGOID", L"1.2.840.113549.1.1.1", "ALGOID: 1.2.840.113549.1.1.1");
}

TEST_F(KeywordsWithoutRoom, ABadCategoryIsStillToldAsAType) {
    expectRefused(certificateKeywords(), L"CERT_CATEGORY", L"none", "CERT_TYPE: none");
}

TEST_F(KeywordsWithoutRoom, AnUnreadableLabelThatIsCountedNeedsRoom) {
    expectRefused(certificateKeywords(), L"LABEL", L"", "LABEL: ", UnreadableLabel::Counted);
    expectRefused(certificateKeywords(), L"LABEL", L"xyz", "LABEL: xyz", UnreadableLabel::Counted);
}

TEST_F(KeywordsWithoutRoom, WhatSetsNoEntryNeedsNone) {
    AttributeTemplate full(1);
    fill(full);
    param(L"LABEL", L"xyz");
    param(L"LABEL", L"");
    param(L"SUBJECT", L"4");
    param(L"ID", L"");
    param(L"DATA", L"41");
    EXPECT_EQ(apply(certificateKeywords(), &full, nullptr), L"0");
    EXPECT_EQ(full.count(), 1U);
    EXPECT_TRUE(m_complaints.empty());
}

TEST_F(KeywordsWithoutRoom, AFixedEntryIsStillOverwritten) {
    AttributeTemplate full(1);
    fill(full);
    param(L"TOKEN", L"0");
    EXPECT_EQ(apply(certificateKeywords(), &full, nullptr), L"0");
    EXPECT_EQ(valueIn(full, CKA_TOKEN), std::string("\0", 1));
}

TEST_F(KeywordsWithoutRoom, TheFirstThatDoesNotFitEndsIt) {
    AttributeTemplate attributes(2);
    fill(attributes);
    param(L"ID", L"41");
    param(L"ID", L"42");
    param(L"TOKEN", L"0");
    param(L"LABEL", L"43");
    EXPECT_EQ(apply(certificateKeywords(), &attributes, nullptr), L"80ec");
    EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter ID: 42"});
    EXPECT_EQ(valueIn(attributes, CKA_ID), "A");
    EXPECT_EQ(valueIn(attributes, CKA_TOKEN), std::string("\1", 1));
}

TEST_F(KeywordsWithoutRoom, AFullPublicHalfEndsItBeforeThePrivateOne) {
    AttributeTemplate full(1);
    fill(full);
    param(L"ID", L"41");
    EXPECT_EQ(apply(keyKeywords(), &full, &m_private), L"80ec");
    EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter ID: 41"});
    EXPECT_EQ(m_private.count(), 0U);
}

TEST_F(KeywordsWithoutRoom, AFullPrivateHalfEndsItBehindThePublicOne) {
    AttributeTemplate full(1);
    fill(full);
    param(L"ENCRYPT", L"1");
    param(L"ID", L"41");
    EXPECT_EQ(apply(keyKeywords(), &m_public, &full), L"80ec");
    EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter ID: 41"});
    EXPECT_EQ(m_public.count(), 2U);
    EXPECT_EQ(valueIn(m_public, CKA_ID), "A");
}

TEST_F(KeywordsWithoutRoom, AReservedPlaceIsNotTaken) {
    AttributeTemplate attributes(3);
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.endFixed(1);
    param(L"ID", L"41");
    param(L"ENCRYPT", L"1");
    EXPECT_EQ(apply(keyKeywords(), &attributes, nullptr), L"80ec");
    EXPECT_EQ(m_complaints, std::vector<std::string>{"PKCS11Client::aMethod: Bad parameter ENCRYPT: 1"});
    EXPECT_EQ(attributes.count(), 2U);
}

} // namespace

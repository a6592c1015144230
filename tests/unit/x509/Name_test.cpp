#include "host/x509/Name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/x509/AlternativeName.h"
#include "host/x509/KeyUsage.h"
#include "tests/unit/x509/Reading.h"

using namespace host::x509;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using tests::errorOf;
using tests::hexadecimal;

namespace {

std::string textOf(std::string_view subject) {
    return nameText(parseSubject(subject), "name");
}

std::string refusalOf(std::string_view subject) {
    return errorOf([&] { return parseSubject(subject); });
}

} // namespace

TEST(Subject, isReadInItsOrder) {
    EXPECT_EQ(textOf("/C=DE/O=Example/OU=A/OU=B/CN=J\xC3\xBCrgen"), "CN=J\xC3\xBCrgen,OU=B,OU=A,O=Example,C=DE");
    EXPECT_EQ(hexadecimal(parseSubject("/C=DE/DC=x/CN=y")),
              "302C310B30090603550406130244453111300F060A0992268993F22C640119160178310A30080603"
              "5504030C0179");
}

TEST(Subject, takesEscapesAndDottedTypes) {
    EXPECT_EQ(textOf(R"(/O=A\/B\\C\=\+\,D/1.2.3.4=a=b)"), R"(1.2.3.4=a=b,O=A/B\\C=\+\,D)");
    EXPECT_EQ(textOf("/2.5.4.3=a"), "CN=a");
}

TEST(Subject, saysWhatIsWrong) {
    EXPECT_EQ(refusalOf(""), "subject: it begins with a slash, as in \"/O=Example/CN=Jane Doe\"");
    EXPECT_EQ(refusalOf("CN=a"), refusalOf(""));
    EXPECT_THAT(refusalOf("/"), HasSubstr("\"\" is no type that is known; there are C, ST, L"));
    EXPECT_THAT(refusalOf("/CN=a//O=b"), HasSubstr("\"\" is no type"));
    EXPECT_THAT(refusalOf("/cn=a"), HasSubstr("\"cn\" is no type"));
    EXPECT_THAT(refusalOf("/CN"), HasSubstr("\"CN\" has no value"));
    EXPECT_THAT(refusalOf("/CN="), HasSubstr("\"CN\" has no value"));
    EXPECT_THAT(refusalOf("/CN=a+b"), HasSubstr("write \"\\+\" for a plus sign"));
    EXPECT_THAT(refusalOf("/CN=a\\"), HasSubstr("a backslash stands before"));
    EXPECT_THAT(refusalOf("/CN=\\n"), HasSubstr("a backslash stands before"));
    EXPECT_THAT(refusalOf("/CN=a\nb"), HasSubstr("control characters"));
    EXPECT_THAT(refusalOf("/CN=\xFC"), HasSubstr("not UTF-8"));
    EXPECT_THAT(refusalOf("/C=Germany"), HasSubstr("7 characters; a country has 2 letters"));
    EXPECT_THAT(refusalOf("/C=D"), HasSubstr("1 characters; a country has 2 letters"));
    EXPECT_THAT(refusalOf("/CN=" + std::string(65, 'a')), HasSubstr("65 characters; at most 64 fit"));
    EXPECT_THAT(refusalOf("/emailAddress=j\xC3\xBC@x"), HasSubstr("certificates do not allow there"));
    EXPECT_THAT(refusalOf("/serialNumber=a_b"), HasSubstr("certificates do not allow there"));
    EXPECT_THAT(refusalOf("/9.9.9=a"), HasSubstr("\"9.9.9\" is no identifier"));
    EXPECT_THAT(refusalOf("/2.4294967295=a"), HasSubstr("is no identifier"));
    EXPECT_THAT(refusalOf("/1.2.99999999999999999999999=a"), HasSubstr("is no identifier")) << "beyond any integer";
    EXPECT_EQ(refusalOf("/CN=" + std::string(64, 'a')), "no error");
}

TEST(NameText, escapesWhatCannotBeShown) {
    const auto nameOf = [](std::string value) { // a CN with any bytes
        Bytes der = {0x30, 0, 0x31, 0, 0x30, 0, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C};
        const auto length = static_cast<std::uint8_t>(value.size());
        der.push_back(length);
        der.insert(der.end(), value.begin(), value.end());
        der[5] = static_cast<std::uint8_t>(7 + length);
        der[3] = static_cast<std::uint8_t>(9 + length);
        der[1] = static_cast<std::uint8_t>(11 + length);
        return nameText(der, "name");
    };
    EXPECT_EQ(nameOf("#a;\"b\"<c>"), R"(CN=\#a\;\"b\"\<c\>)");
    EXPECT_EQ(nameOf(" a "), R"(CN=\ a\ )");
    EXPECT_EQ(nameOf("a\x1B[2J\n"), R"(CN=a\1B[2J\0A)");
    EXPECT_EQ(nameOf("a\xFF"), "CN=a\xEF\xBF\xBD");
    EXPECT_EQ(nameText(Bytes{0x30, 0}, "name"), "");
    EXPECT_THAT(errorOf([] { return nameText(Bytes{0x30, 5}, "name"); }), HasSubstr("name: not a name in DER"));
}

TEST(AlternativeNames, areParsed) {
    const auto parsed = [](std::string_view text) {
        const AlternativeName name = AlternativeName::parse(text);
        return std::to_string(name.tag) + ":" + hexadecimal(name.value);
    };
    EXPECT_EQ(parsed("DNS:a.b"), "2:612E62");
    EXPECT_EQ(parsed("DNS:*.b"), "2:2A2E62");
    EXPECT_EQ(parsed("email:a@b"), "1:614062");
    EXPECT_EQ(parsed("URI:urn:x"), "6:75726E3A78");
    EXPECT_EQ(parsed("IP:192.0.2.255"), "7:C00002FF");
    EXPECT_EQ(parsed("IP:2001:db8::1"), "7:20010DB8000000000000000000000001");
    EXPECT_EQ(parsed("IP:::"), "7:00000000000000000000000000000000");
    EXPECT_EQ(parsed("IP:1:2:3:4:5:6:7:8"), "7:00010002000300040005000600070008");
    EXPECT_EQ(parsed("IP:1:2:3:4:5:6:7::"), "7:00010002000300040005000600070000");
}

TEST(AlternativeNames, areRefused) {
    for (const char* text : {"",
                             "host.example",
                             "dns:a",
                             "DNS:",
                             "DNS:a..b",
                             "DNS:a b",
                             "DNS:\xC3\xBC",
                             "DNS:.",
                             "email:a",
                             "email:@b",
                             "email:a@",
                             "URI:",
                             "URI:x",
                             "URI::x",
                             "URI:a b:c",
                             "IP:",
                             "IP:1.2.3",
                             "IP:1.2.3.256",
                             "IP:1.2.3.04",
                             "IP:1.2.3.4.5",
                             "IP:1:2:3:4:5:6:7",
                             "IP:1:2:3:4:5:6:7:8:9",
                             "IP:1::2::3",
                             "IP:12345::",
                             "IP:g::",
                             "IP:1:2:3:4:5:6:7::8",
                             "IP: 1.2.3.4",
                             "IP:+1.2.3.4",
                             "IP::1:2:3:4:5:6:7:8"}) {
        EXPECT_THAT(errorOf([&] { return AlternativeName::parse(text); }), HasSubstr("alternative name \"")) << text;
    }
}

TEST(KeyUsages, areParsed) {
    EXPECT_THAT(usageNames(parseKeyUsage("cRLSign,digitalSignature")), ElementsAre("digitalSignature", "cRLSign"));
    for (const char* list : {"", "digitalSignature,", ",", "DigitalSignature", "sign"}) {
        EXPECT_THAT(errorOf([&] { return parseKeyUsage(list); }), HasSubstr("is no key usage; there are digital"));
    }
}

#include "host/x509/PublicKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/x509/Reading.h"
#include "tests/unit/x509/Vectors.h"

using namespace host::x509;
using ::testing::HasSubstr;
using tests::errorOf;
using tests::hexadecimal;
using tests::kName;

namespace {

constexpr std::string_view kPem = R"(-----BEGIN PUBLIC KEY-----
MIGfMA0GCSqGSIb3DQEBAQUAA4GNADCBiQKBgQDAADAsVQ8Taby3DgaJ3bH5Ye57
5V0ZkrCPBGGrG6I6dzNQoy2ltd0AEhnmmxzEaDa+Jp7ULfRuEdSq76P78OLKoGi/
t2MPoEXnln+fxC5zCyYWiEComTi3gmRNp82yFIQWH7NNTeSHQqq5VcM2enIXgwYr
MaudIJx6kI1REaokVQIDAQAB
-----END PUBLIC KEY-----
)";
constexpr std::string_view kPkcs1Pem = R"(-----BEGIN RSA PUBLIC KEY-----
MIGJAoGBAMAAMCxVDxNpvLcOBondsflh7nvlXRmSsI8EYasbojp3M1CjLaW13QAS
GeabHMRoNr4mntQt9G4R1Krvo/vw4sqgaL+3Yw+gReeWf5/ELnMLJhaIQKiZOLeC
ZE2nzbIUhBYfs01N5IdCqrlVwzZ6cheDBisxq50gnHqQjVERqiRVAgMBAAE=
-----END RSA PUBLIC KEY-----
)";

// Of "text", by `openssl dgst -sign`.
struct Signature {
    Hash hash;
    const char* digest;
    const char* signature;
};
constexpr Signature kSignatures[] = {
    {Hash::Sha1, "372EA08CAB33E71C02C651DBC83A474D32C676EA",
     "58BE92BE86ECFE8D50C8C5D0CF18062BDCAB951A95D3B489C89204723B7B69E6C447AAF2074E86D4EFFB7002EEBAAD2567E98445"
     "E9F3EA8852C6D4CEA468109252989B710502D163EBB5BAB588E3DBAB9B196E98FA6B4E8BF9AA0D3D746081264E5DF0B4D9579768"
     "54B73BA29E6A77127CD23C63D0FB5E4584163B9BB5665365"},
    {Hash::Sha224, "165543BB2301D8334D4A1A3A24508ECDB815A4D2F69AB8C6CDB19AE5",
     "4F59CEB7B533B1C03C9818E48F7F3E7C99E7D17159E1AB0408EE2CC246E3C605152392DCBC23310F0D6BF7325E2834254C0D429E"
     "2E8C8D00A2670FFE84258C8E8F5659E6570403BBAFB4F5207235C1DFA907F8EA93AA7C8032734D8EABB2D92BF53A5A5E9E3F33C4"
     "1B889F436874A269F6C55C331331381D965789E06050530D"},
    {Hash::Sha256, "982D9E3EB996F559E633F4D194DEF3761D909F5A3B647D1A851FEAD67C32C9D1",
     "1B72E846DEA108F3CE5BC3E87753938AB5415B580D9710D192C472973A0C95FAFF0C27BC36832EEA0976FD4D69546712B630BC2C"
     "C1A6F095070A297C4AC619E1B0C1DD941C8B4BC2F84EECA0EBB772EB909254E2BCC11E8430CF6F041692AD8A0111AAE33B022D24"
     "B89779D5FCF76066219E8D4B8710B4ABCB78AB94514FAFC4"},
    {Hash::Sha384, "313A7E3322AC655C276B3A0A9E6B27C448C5707B1B0E20037B42AB7761BA25162F7659D4FFE1EAFD9966204C1B41FB73",
     "4F0AE8706E690CB38A805462DA0A4AB9964012F396A0A28EACCD8655892C9F494CAE061B5DFBA7AA4D74ADE922F0AB4DA4BF7B2F"
     "3071A070728C78D50E99405C3E0C9778CC924437FE04AD05AB4AA438FA05BB79DD2258A5849AE036D906750D1198A70D6D5AC499"
     "E41FCC72BD55CB91C0F97B78DC1FD2ACCD243EDBF74ABA3E"},
    {Hash::Sha512,
     "EAF2C12742CB8C161BCBD84B032B9BB98999A23282542672CA01CC6EDD268F7DCE9987AD6B2BC79305634F89D90B90102BCD59A5"
     "7E7135B8E3CEB93C0597117B",
     "A7872F5309A1A7BA4CBD1C2F75390FA8291ADC532C1BBCDCB84981677A80BEA7DF4CD857AA91FDB1F9EF20AF3B48F1246D81223B"
     "CB6C3B344287216240F8F7A3E614C8519E06D52D3F93999A1E37D18250A4C01A6CACD0DAD6BBF2159860B8A318DA69B1520858F8"
     "EBFF9E1E426D6FCBA82AB8C80BB85770FFBCDA112062DFE9"},
};

Bytes bytesOf(std::string_view digits) {
    const SecretBuffer bytes = text::decodeHexadecimal(std::wstring(digits.begin(), digits.end()));
    return {bytes.bytes().begin(), bytes.bytes().end()};
}

PublicKey readPem() {
    return PublicKey::read(viewOf(kPem), kName);
}

} // namespace

TEST(PublicKeyFile, isTakenInEachForm) {
    const PublicKey key = readPem();
    EXPECT_EQ(key.bits(), 1024U);
    EXPECT_EQ(hexadecimal(key.exponent()), "010001");
    EXPECT_EQ(hexadecimal(key.identifier()), "7961399B25D16987EBD281D895DD776CE6D5AD2C");
    EXPECT_EQ(key.pem(), kPem);
    EXPECT_EQ(PublicKey::read(viewOf(kPkcs1Pem), kName), key);
    EXPECT_EQ(PublicKey::read(key.der(), kName), key);
}

TEST(PublicKeyOfNumbers, dropsLeadingZeros) {
    const PublicKey key = readPem();
    Bytes modulus = key.modulus();
    modulus.insert(modulus.begin(), 2, 0);
    EXPECT_EQ(PublicKey(modulus, bytesOf("00000000010001"), kName), key);
}

TEST(PublicKeyOfNumbers, refusesWhatIsNoKey) {
    const Bytes modulus = readPem().modulus();
    Bytes even = modulus;
    even.back() = 2;
    const Bytes exponent = bytesOf("010001");
    const std::vector<std::pair<Bytes, Bytes>> wrong = {{{}, exponent},
                                                        {modulus, {}},
                                                        {even, exponent},
                                                        {modulus, {1}},
                                                        {modulus, {4}},
                                                        {Bytes(63, 0xFF), exponent},
                                                        {Bytes(2049, 0xFF), exponent},
                                                        {modulus, Bytes(129, 1)}};
    for (const auto& [n, e] : wrong) {
        EXPECT_THAT(errorOf([&, &modulus = n, &power = e] { return PublicKey(modulus, power, kName); }),
                    HasSubstr("not those of an RSA key"));
    }
}

TEST(Hashes, areThoseOfTheirNames) {
    for (const Signature& vector : kSignatures) {
        EXPECT_EQ(hexadecimal(digestOf(vector.hash, viewOf("text"))), vector.digest);
        EXPECT_EQ(hashOfName(hashName(vector.hash)), vector.hash);
        Hasher hasher(vector.hash);
        hasher.update(viewOf("te"));
        hasher.update(viewOf("xt"));
        EXPECT_EQ(hexadecimal(hasher.finish()), vector.digest);
    }
    EXPECT_EQ(hashOfName("SHA256"), std::nullopt);
}

// RFC 8017, 9.2, note 1.
TEST(Hashes, haveTheirDigestInfo) {
    EXPECT_EQ(hexadecimal(digestInfo(Hash::Sha1, Bytes{0xAA})), "3021300906052B0E03021A05000414AA");
    EXPECT_EQ(hexadecimal(digestInfo(Hash::Sha256, Bytes{0xAA})), "3031300D060960864801650304020105000420AA");
    EXPECT_EQ(hexadecimal(digestInfo(Hash::Sha512, Bytes{0xAA})), "3051300D060960864801650304020305000440AA");
}

TEST(Signatures, areVerified) {
    const PublicKey key = readPem();
    for (const Signature& vector : kSignatures) {
        Bytes digest = bytesOf(vector.digest);
        Bytes signature = bytesOf(vector.signature);
        EXPECT_TRUE(key.verify(vector.hash, digest, signature));
        EXPECT_FALSE(key.verify(vector.hash == Hash::Sha1 ? Hash::Sha256 : Hash::Sha1, digest, signature));
        digest.front() ^= 1;
        EXPECT_FALSE(key.verify(vector.hash, digest, signature));
        digest.front() ^= 1;
        signature.back() ^= 1;
        EXPECT_FALSE(key.verify(vector.hash, digest, signature));
        signature.push_back(0);
        EXPECT_FALSE(key.verify(vector.hash, digest, signature));
        EXPECT_FALSE(key.verify(vector.hash, digest, {}));
        EXPECT_FALSE(key.verify(vector.hash, {}, signature));
    }
}

// The layers of the signed digest file: alphabet, padding, key, configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/ztdh_class.h"
#include "tests/datahelpers/signing_key.h"

namespace zenta::signing {
namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
const AlphabetCodec kCodec(std::span<const char, 64>(kAlphabet), 0x12345678);

Data Decoded(std::string_view text) { return kCodec.Decode(BytesOf(text)); }

TEST(AlphabetCodecTest, EveryLengthComesBack) {
  for (Bytes bytes{0}; bytes.size() != 70;
       bytes.push_back(static_cast<std::uint8_t>(bytes.back() * 5 + 3))) {
    EXPECT_EQ(Decoded(kCodec.Encode(bytes)), bytes);
  }
  // Two words and a tail, made by another program from the description of the format.
  EXPECT_EQ(kCodec.Encode(Bytes{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9}),
            "Rzw1DmccFS6Arw");
}

TEST(AlphabetCodecTest, TextThatNobodyWroteIsRefused) {
  for (int byte = 0; byte != 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    const Data decoded = Decoded(std::string("Rzw1") + c + "DmccFS6Arw");
    EXPECT_EQ(decoded == Decoded("Rzw1DmccFS6Arw"), blank) << byte;
    EXPECT_TRUE(blank || kAlphabet.find(c) != std::string::npos || !decoded) << byte;
  }
  for (const char* text : {"", " \n", "A", "AAAAA", "AB", "AAB", "AAC", "AAAAAAB"}) {
    EXPECT_EQ(Decoded(text), std::nullopt) << text;
  }
}

TEST(SignatureBlockTest, PaddingIsReadInOneWayOnly) {
  Bytes payload;
  for (; payload.size() <= kMaxPayloadBytes; payload.push_back(0)) {
    EXPECT_EQ(PayloadOf(PadPayload(payload).value()), payload);
  }
  EXPECT_EQ(PadPayload(payload), std::nullopt);
  const SignatureBlock good = *PadPayload(BytesOf("0123456789abcdef0123456789abcdef"));
  for (std::size_t i = 0; i != kSignatureBytes * 256; ++i) {
    SignatureBlock block = good;
    block[i / 256] = static_cast<std::uint8_t>(i);
    EXPECT_EQ(PayloadOf(block).has_value(), IsExactlyPadded(block)) << i / 256 << ' ' << i % 256;
  }
  SignatureBlock endless{0, 1};
  std::fill(endless.begin() + 2, endless.end(), 0xFF);
  EXPECT_EQ(PayloadOf(endless), std::nullopt);
}

TEST(SignatureBlockTest, FirstBlockIsOpenedIfItIsBelowTheModulus) {
  const SignatureBlock block = TestSigner().Raise(*PadPayload(BytesOf("text"))).value();
  Bytes bytes(block.begin(), block.end());
  bytes.push_back(0);
  for (const std::size_t size : {kSignatureBytes + 1, kSignatureBytes}) {
    EXPECT_EQ(ZTDHClass::ZTDHMethod021(ByteView(bytes).first(size)), Data({'t', 'e', 'x', 't'}));
  }
  EXPECT_EQ(ZTDHClass::ZTDHMethod021(ByteView(bytes).first(kSignatureBytes - 1)), std::nullopt);
  const RsaPublicKey key(BuiltInSigningConfig());
  EXPECT_EQ(key.Raise(BuiltInSigningConfig().modulus), std::nullopt);
  EXPECT_EQ(key.Raise(SignatureBlock{}), SignatureBlock{});
}

TEST(RsaPublicKeyTest, EveryWidthOfExponentIsTaken) {
  SigningConfig config = BuiltInSigningConfig();
  SignatureBlock two{}, last = config.modulus;
  two.back() = 2;
  --last.back();  // -1, and every exponent is odd
  for (const std::uint64_t exponent : {3ull, 129ull, 65537ull, (1ull << 63) + 1, ~0ull}) {
    config.exponent = exponent;
    const RsaPublicKey key(config);
    EXPECT_EQ(key.Raise(last), last) << exponent;
    if (exponent >= 1024) continue;
    SignatureBlock power{};
    power[127 - exponent / 8] = static_cast<std::uint8_t>(1 << exponent % 8);
    EXPECT_EQ(key.Raise(two), power) << exponent;
  }
}

TEST(SigningConfigTest, TextComesBackAndFaultsAreNamed) {
  const std::string text = FormatSigningConfig(BuiltInSigningConfig());
  EXPECT_EQ(std::get<SigningConfig>(ParseSigningConfig("# comment\r\n\r\n " + text)),
            BuiltInSigningConfig());
  const auto with = [&](std::string_view from, std::string_view to) {
    return std::string(text).replace(text.find(from), from.size(), to);
  };
  const auto exponent = [&](const std::string& digits) {
    return with("exponent = " + std::to_string(BuiltInSigningConfig().exponent),
                "exponent = " + digits);
  };
  const auto modulus = [&](std::size_t at, char digit) {
    std::string changed = text;
    changed[text.find("modulus = ") + 10 + at] = digit;
    return changed;
  };
  const std::string value = text.substr(text.find("value = "));
  const std::size_t last = 2 * kSignatureBytes - 1;
  for (const std::string& good :
       {exponent("3"), exponent("18446744073709551615"), modulus(0, '8'), modulus(last, '1')}) {
    EXPECT_TRUE(std::holds_alternative<SigningConfig>(ParseSigningConfig(good))) << good;
  }
  const std::pair<std::string, const char*> rows[] = {
      {"", "'modulus' is missing"},
      {modulus(0, '7'), "line 1: 'modulus' is not 256"},
      {modulus(last, '2'), "line 1: 'modulus' is not 256"},
      {exponent("1"), "line 2: 'exponent' is not an odd"},
      {exponent("4"), "line 2: 'exponent' is not an odd"},
      {exponent("03"), "line 2: 'exponent' is not an odd"},
      {exponent("3x"), "line 2: 'exponent' is not an odd"},
      {exponent("18446744073709551617"), "line 2: 'exponent' is not an odd"},
      {text + text, "line 6: 'modulus' is there twice"},
      {text + "more = 1", "line 6: unknown name 'more'"},
      {with("modulus = ", "modulus = 0"), "line 1: 'modulus' is not 256"},
      {with("\nvalue", "A\nvalue"), "line 3: 'alphabet' is not each"},
      {with("value = ", "value = g"), "line 4: 'value' is not 8"},
      {with(value.substr(0, 9), "value = g"), "line 4: 'value' is not 8"},
      {with(value.substr(0, 10), value.substr(0, 9) + "G"), "line 4: 'value' is not 8"},
      {with("value = ", "value"), "line 4: wanted: name = value"},
      {with("development = ", "development = un"), "line 5: 'development' is not yes or no"}};
  for (const auto& [bad, fault] : rows) {
    EXPECT_THAT(std::get<std::string>(ParseSigningConfig(bad)), testing::StartsWith(fault));
  }
  EXPECT_EQ(std::get<std::string>(ReadSigningConfig("/nowhere")), "/nowhere: cannot be opened");
}

}  // namespace
}  // namespace zenta::signing

// The signed digest file in its layers: alphabet, padding, key, configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/signature_block.h"
#include "datahelpers/ztdh_class.h"
#include "tests/datahelpers/signing_key.h"

namespace zenta {
namespace {

constexpr char kPlainAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
const AlphabetCodec kCodec(std::span<const char, 64>(kPlainAlphabet, 64), 0x12345678);

Data Decoded(std::string_view text) { return kCodec.Decode(BytesOf(text)); }

TEST(AlphabetCodecTest, EveryLengthComesBack) {
  std::mt19937 random(1);
  for (Bytes bytes; bytes.size() != 200; bytes.push_back(static_cast<std::uint8_t>(random()))) {
    const std::string text = kCodec.Encode(bytes);
    EXPECT_EQ(text.size(), (bytes.size() * 4 + 2) / 3);
    EXPECT_EQ(Decoded(text), bytes.empty() ? std::nullopt : Data(bytes));
  }
  // Two words and a tail, worked out by hand from the description of the format.
  EXPECT_EQ(kCodec.Encode(Bytes{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9}),
            "Rzw1DmccFS6Arw");
}

TEST(AlphabetCodecTest, OnlyBlanksAndLineEndsAreSkipped) {
  const std::string alphabet = kPlainAlphabet, blanks = " \t\r\n";
  for (int byte = 0; byte != 256; ++byte) {
    const char c = static_cast<char>(byte);
    SCOPED_TRACE(byte);
    const Data decoded = Decoded(std::string("Rzw1") + c + "DmccFS6Arw");
    EXPECT_EQ(decoded == Decoded("Rzw1DmccFS6Arw"), blanks.find(c) != std::string::npos);
    if (alphabet.find(c) == std::string::npos && blanks.find(c) == std::string::npos) {
      EXPECT_EQ(decoded, std::nullopt);
    }
  }
}

TEST(AlphabetCodecTest, TextThatNobodyWroteIsRefused) {
  for (const char* text : {"", " \n", "A", "AAAAA", "AB", "AAB", "AAC", "AAAAAAB"}) {
    EXPECT_EQ(Decoded(text), std::nullopt) << text;
  }
  for (const char* text : {"AA", "AQ", "AAA", "AAE", "AAAB"})
    EXPECT_NE(Decoded(text), std::nullopt) << text;
}

TEST(SignatureBlockTest, PaddingIsReadInOneWayOnly) {
  Bytes payload;
  for (; payload.size() <= kMaxPayloadBytes; payload.push_back(0)) {
    const auto padded = PadPayload(payload);
    ASSERT_TRUE(padded);
    EXPECT_EQ(PayloadOf(*padded), payload);
  }
  EXPECT_EQ(PadPayload(payload), std::nullopt);

  const SignatureBlock good = *PadPayload(BytesOf("0123456789abcdef0123456789abcdef"));
  for (std::size_t at = 0; at != kSignatureBytes; ++at) {
    for (int byte = 0; byte != 256; ++byte) {
      SignatureBlock block = good;
      block[at] = static_cast<std::uint8_t>(byte);
      EXPECT_EQ(PayloadOf(block).has_value(), IsExactlyPadded(block)) << at << ' ' << byte;
    }
  }
  SignatureBlock endless;
  endless.fill(0xFF);
  endless[0] = 0, endless[1] = 1;
  EXPECT_EQ(PayloadOf(endless), std::nullopt);
}

TEST(SignatureBlockTest, FirstBlockIsOpenedAndOnlyBelowTheModulus) {
  const SigningConfig& config = BuiltInSigningConfig();
  const auto block = TestSigner().Raise(*PadPayload(BytesOf("payload")));
  ASSERT_TRUE(block);
  Bytes bytes(block->begin(), block->end());
  EXPECT_EQ(ZTDHClass::ZTDHMethod021(bytes), Data(Bytes{'p', 'a', 'y', 'l', 'o', 'a', 'd'}));
  bytes.push_back(0);
  EXPECT_NE(ZTDHClass::ZTDHMethod021(bytes), std::nullopt);
  bytes.resize(kSignatureBytes - 1);
  EXPECT_EQ(ZTDHClass::ZTDHMethod021(bytes), std::nullopt);
  const RsaPublicKey key(config);
  EXPECT_EQ(key.Raise(config.modulus), std::nullopt);
  EXPECT_EQ(key.Raise(SignatureBlock{}), SignatureBlock{});
}

TEST(SignerTest, FreshKeySignsForItsOwnConfigurationOnly) {
  const Signer made = Signer::Generate();
  const auto read = Signer::FromPem(made.ToPem());
  ASSERT_TRUE(std::holds_alternative<Signer>(read));
  const Signer& signer = std::get<Signer>(read);
  SigningConfig config = BuiltInSigningConfig();
  EXPECT_FALSE(signer.Matches(config));
  config.modulus = made.Modulus();
  config.exponent = made.Exponent();
  ASSERT_TRUE(signer.Matches(config));
  EXPECT_NE(Fingerprint(made.Modulus()), Fingerprint(TestSigner().Modulus()));

  const auto text = SignDigest("payload", config, signer);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->size(), 171u);
  const Data block = AlphabetCodec(config.alphabet, config.value).Decode(BytesOf(*text));
  ASSERT_TRUE(block);
  EXPECT_EQ(TextOf(*OpenSignatureBlock(*block, RsaPublicKey(config))), "payload");
  EXPECT_EQ(ZTDHClass::ZTDHMethod021(block), std::nullopt);
  EXPECT_EQ(SignDigest(std::string(118, 'x'), config, signer), std::nullopt);
  EXPECT_TRUE(std::holds_alternative<std::string>(Signer::FromPem("no key")));
}

TEST(SigningConfigTest, TextComesBackAndFaultsAreNamed) {
  const std::string text = FormatSigningConfig(BuiltInSigningConfig());
  const auto with = [&](std::string_view from, std::string_view to) {
    std::string changed = text;
    return changed.replace(changed.find(from), from.size(), to);
  };
  for (const std::string& good :
       {text, "# comment\r\n\r\n" + text, with("exponent = ", "  exponent\t=")}) {
    const auto read = ParseSigningConfig(good);
    ASSERT_TRUE(std::holds_alternative<SigningConfig>(read)) << std::get<std::string>(read);
    EXPECT_EQ(std::get<SigningConfig>(read), BuiltInSigningConfig());
  }
  const std::pair<std::string, const char*> rows[] = {
      {"", "'modulus' is missing"},
      {text + text, "line 6: 'modulus' is there twice"},
      {text + "more", "line 6: wanted: name = value"},
      {text + "more = 1", "line 6: unknown name 'more'"},
      {with("modulus = ", "modulus = 0"), "line 1: 'modulus' is not 256"},
      {with("exponent = ", "exponent = 0"), "line 2: 'exponent' is not an odd"},
      {with("\nalphabet", "0\nalphabet"), "line 2: 'exponent' is not an odd"},
      {with("\nalphabet", "1234567890123456789\nalphabet"), "line 2: 'exponent' is not an odd"},
      {with("\nvalue", "A\nvalue"), "line 3: 'alphabet' is not each"},
      {with("value = ", "value = g"), "line 4: 'value' is not 8"},
      {with("development = ", "development = un"), "line 5: 'development' is not yes or no"}};
  for (const auto& [bad, fault] : rows) {
    const auto read = ParseSigningConfig(bad);
    ASSERT_TRUE(std::holds_alternative<std::string>(read)) << fault;
    EXPECT_THAT(std::get<std::string>(read), testing::StartsWith(fault));
  }
  EXPECT_EQ(std::get<std::string>(ReadSigningConfig("/nowhere")), "/nowhere: cannot be opened");
}

}  // namespace
}  // namespace zenta

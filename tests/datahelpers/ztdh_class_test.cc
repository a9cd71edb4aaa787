#include "datahelpers/ztdh_class.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

#include "tests/temp_folder.h"

namespace zenta::signing {
namespace {

using H = ZTDHClass;

std::string Md5sumSays(const std::string& path) {
  std::string digest(32, ' ');
  FILE* pipe = ::popen(("md5sum <'" + path + "'").c_str(), "r");
  EXPECT_EQ(std::fread(digest.data(), 1, 32, pipe), 32u);
  ::pclose(pipe);
  return digest;
}

TEST(ZTDHClassTest, DigestsAreThoseOfRfc1321InEveryForm) {
  const std::pair<const char*, const char*> suite[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const std::pair<std::string, std::string> row : suite) {
    const auto& [text, digest] = row;
    const auto size = static_cast<std::uint32_t>(text.size());
    EXPECT_EQ(H::calcMD5(text + '\0' + "unseen"), digest.substr(0, 16));
    for (const int length : {16, 64, 20, 0}) {
      const std::string want = digest + std::string(length == 16 ? 0 : 96, '0');
      EXPECT_EQ(H::getMD5ZTDHMethod001Arg2(text + '\0' + "unseen", length), want);
      EXPECT_EQ(H::ZTDHMethod002ZTDHMethod001Arg2(text, length), want);
      for (const auto member : {H::getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2,
                                H::ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2}) {
        EXPECT_EQ(member(text.data(), size, length), want);
        EXPECT_EQ(member(nullptr, 0, length), std::nullopt);
      }
    }
  }
}

// The digests were computed with another implementation of MD5.
TEST(ZTDHClassTest, MixedDigestTakesEachByteAsACharacter) {
  const char* const chinese = "输入法输入法更新程序é";
  const char* const latin = "é\xDF\xBF\xC2\x80zABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const char* const rows[][3] = {
      {"abcdefghijklmnopqrstuvwxyz012345XX", "ABCDEFGHIJKLMNOPQRSTUVWXYZ6789-_",
       "e109a63abd9226297d7816e8540dda9e"},
      {chinese, latin, "39cac0e1a037b98d1805799e66ab9c51"},
      {latin, chinese, "0c7296711cb1df27608540f0af7dc4fc"}};
  for (const auto& [first, second, digest] : rows) {
    EXPECT_EQ(H::ZTDHMethod020ZTDHMethod020Arg1(first, second), digest + std::string(96, '0'));
  }
}

TEST(ZTDHClassTest, FileDigestsAgreeWithMd5sumAroundTheChunkSize) {
  const TempFolder folder;
  const std::string path = folder.At("a package"), url = folder.At("%61%20package?q#f");
  for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 99999u}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i != size; ++i) content[i] = static_cast<char>(i * i >> 3);
    folder.Put("a package", content);
    const std::string want = Md5sumSays(path);
    EXPECT_EQ(H::ZTDHMethod003(path), want) << size;
    EXPECT_EQ(H::calcMD5FromFile(path), want) << size;
    for (const std::string start : {"file://", "File://LOCALHOST", "file:"}) {
      EXPECT_EQ(H::ZTDHMethod006(H::ZTDHMethod005(start + url)), want) << start << ' ' << size;
    }
  }
}

TEST(ZTDHClassTest, WhatIsNoReadableFileIsNil) {
  const TempFolder folder;
  const std::string file = folder.Put("file", "content"), pipe = folder.At("pipe");
  folder.Put("_", "what %6g would be if g counted as a digit of -1");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", folder.At("dangling"));
  for (const std::string& path : {std::string(), folder.At(""), pipe, folder.At("dangling"),
                                  file + "/below", file + '\0' + "more"}) {
    EXPECT_EQ(H::ZTDHMethod003(path), std::nullopt) << path;
    EXPECT_EQ(H::calcMD5FromFile(path), std::nullopt) << path;
  }
  for (const std::string& url :
       {file, "http://" + file, "file://host" + file, std::string("file:"), "file://" + file + "%",
        "file://" + file + "%6", "file://" + folder.At("%6g"), "file://" + file + "%00"}) {
    EXPECT_EQ(H::ZTDHMethod005(url), std::nullopt) << url;
  }
  const std::string cut = "file://" + folder.At("fil%65");  // nothing past the text's end is read
  EXPECT_EQ(H::ZTDHMethod005(std::string_view(cut).substr(0, cut.size() - 1)), std::nullopt);
}

TEST(ZTDHClassTest, NilAndTooShortInGiveNilOut) {
  const TextArg nil, enough = "12345678901234567890123456789012", few = enough->substr(1);
  for (const auto& [a, b] : {std::pair{nil, enough}, {enough, nil}, {few, enough}, {enough, few}}) {
    EXPECT_EQ(H::ZTDHMethod020ZTDHMethod020Arg1(a, b), std::nullopt);
  }
  for (const Text& text :
       {H::ZTDHMethod003(nil), H::calcMD5FromFile(nil), H::calcMD5(nil), H::ZTDHMethod017(nil),
        H::getMD5ZTDHMethod001Arg2(nil, 16), H::ZTDHMethod002ZTDHMethod001Arg2(nil, 64),
        H::ZTDHMethod006({}), H::ZTDHMethod006(Bytes()), H::ZTDHMethod006(Bytes(15))}) {
    EXPECT_EQ(text, std::nullopt);
  }
  for (const Data& data : {H::MD5DataWithFileHandle(nullptr), H::ZTDHMethod005(nil),
                           H::ZTDHMethod014({}), H::ZTDHMethod014(Bytes()), H::ZTDHMethod021({})}) {
    EXPECT_EQ(data, std::nullopt);
  }
  EXPECT_EQ(H::ZTDHMethod006(Bytes(20, 0x0A)), "0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a");
}

TEST(ZTDHClassTest, PercentEscapingLeavesOnlyUnreservedCharacters) {
  EXPECT_EQ(
      H::ZTDHMethod017("!*'();:@&=+$,/?%#[] \"<>\\^`{|}~-._azAZ09é中\x01"),
      "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%20%22%3C%3E%5C%5E%60%7B%7C%7D"
      "~-._azAZ09%C3%A9%E4%B8%AD%01");
}

TEST(ZTDHClassTest, HalfReadFileIsNeverADigest) {
  struct BrokenFile : FileHandle {
    int reads = 0;
    std::optional<std::size_t> Read(std::span<std::uint8_t>) override {
      return reads++ == 0 ? std::optional<std::size_t>(1) : std::nullopt;
    }
  } digested, read;
  EXPECT_THROW(static_cast<void>(H::MD5DataWithFileHandle(&digested)), FileReadError);
  EXPECT_EQ(ReadAll(read), std::nullopt);
}

}  // namespace
}  // namespace zenta::signing

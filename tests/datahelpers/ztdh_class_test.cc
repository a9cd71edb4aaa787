#include "datahelpers/ztdh_class.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace zenta {
namespace {

const char kEmptyDigest[] = "d41d8cd98f00b204e9800998ecf8427e";

// A new folder that goes away with the test.
struct TempFolder {
  std::string path = testing::TempDir() + "ztdh_class_test.XXXXXX";
  TempFolder() { EXPECT_NE(::mkdtemp(path.data()), nullptr); }
  ~TempFolder() { std::filesystem::remove_all(path); }
};

std::string Md5sumSays(const std::string& path) {
  char digest[33] = {};
  FILE* pipe = ::popen(("md5sum <'" + path + "'").c_str(), "r");
  if (pipe == nullptr || std::fread(digest, 1, 32, pipe) != 32) ADD_FAILURE() << "md5sum failed";
  if (pipe != nullptr) ::pclose(pipe);
  return digest;
}

TEST(ZTDHClassTest, DigestsAreThoseOfRfc1321) {
  const std::pair<const char*, const char*> suite[] = {
      {"", kEmptyDigest},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const auto& [text, digest] : suite) {
    SCOPED_TRACE(text);
    const std::string view = text;
    const auto size = static_cast<std::uint32_t>(view.size());
    const std::string longer = digest + std::string(96, '0');
    EXPECT_EQ(ZTDHClass::calcMD5(text), std::string(digest, 16));
    for (const auto& [length, want] :
         {std::pair{16, std::string(digest)}, {64, longer}, {20, longer}, {0, longer}}) {
      EXPECT_EQ(ZTDHClass::getMD5ZTDHMethod001Arg2(text, length), want);
      EXPECT_EQ(ZTDHClass::ZTDHMethod002ZTDHMethod001Arg2(view + '\0' + "unseen", length), want);
      EXPECT_EQ(ZTDHClass::getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(text, size, length),
                want);
      EXPECT_EQ(ZTDHClass::ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(text, size, length),
                want);
    }
  }
}

TEST(ZTDHClassTest, FileDigestsAgreeWithMd5sumAroundTheChunkSize) {
  const TempFolder folder;
  const std::string path = folder.path + "/a package";
  for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 99999u}) {
    SCOPED_TRACE(size);
    std::string content(size, '\0');
    for (std::size_t i = 0; i != size; ++i) content[i] = static_cast<char>(i * i >> 3);
    std::ofstream(path, std::ios::binary) << content;
    const std::string want = Md5sumSays(path);
    EXPECT_EQ(ZTDHClass::ZTDHMethod003(path), want);
    EXPECT_EQ(ZTDHClass::calcMD5FromFile(path), want);
    EXPECT_EQ(ZTDHClass::ZTDHMethod006(ZTDHClass::ZTDHMethod004(path)), want);
    for (const std::string start : {"file://", "File://LOCALHOST", "file:"}) {
      const std::string url = start + folder.path + "/%61%20package?query#fragment";
      EXPECT_EQ(ZTDHClass::ZTDHMethod006(ZTDHClass::ZTDHMethod005(url)), want) << url;
    }
  }
}

TEST(ZTDHClassTest, WhatIsNoReadableFileIsNil) {
  const TempFolder folder;
  const std::string file = folder.path + "/file", pipe = folder.path + "/pipe";
  std::ofstream(file) << "content";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", folder.path + "/dangling");
  for (const std::string& path : {std::string(), folder.path, pipe, folder.path + "/dangling",
                                  file + "/below", file + '\0' + "more"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(ZTDHClass::ZTDHMethod003(path), std::nullopt);
    EXPECT_EQ(ZTDHClass::ZTDHMethod004(path), std::nullopt);
    EXPECT_EQ(ZTDHClass::calcMD5FromFile(path), std::nullopt);
  }
  ASSERT_NE(ZTDHClass::ZTDHMethod005("file://" + file), std::nullopt);
  for (const std::string& url :
       {file, "http://" + file, "file://host" + file, std::string("file:"), "file://" + file + "%",
        "file://" + file + "%6", "file://" + file + "%6g", "file://" + file + "%00"}) {
    EXPECT_EQ(ZTDHClass::ZTDHMethod005(url), std::nullopt) << url;
  }
}

TEST(ZTDHClassTest, NilInGivesNilOut) {
  using H = ZTDHClass;
  const auto nil = std::nullopt;
  const std::string enough(32, 'a'), short_by_one(31, 'a');
  for (const Text& text :
       {H::ZTDHMethod003(nil), H::calcMD5FromFile(nil), H::calcMD5(nil), H::ZTDHMethod017(nil),
        H::getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(nullptr, 0, 16),
        H::ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(nullptr, 0, 64),
        H::getMD5ZTDHMethod001Arg2(nil, 16), H::ZTDHMethod002ZTDHMethod001Arg2(nil, 64),
        H::ZTDHMethod020ZTDHMethod020Arg1(nil, enough),
        H::ZTDHMethod020ZTDHMethod020Arg1(enough, nil),
        H::ZTDHMethod020ZTDHMethod020Arg1(short_by_one, enough),
        H::ZTDHMethod020ZTDHMethod020Arg1(enough, short_by_one), H::ZTDHMethod006(nil),
        H::ZTDHMethod006(Bytes()), H::ZTDHMethod006(Bytes(15))}) {
    EXPECT_EQ(text, nil);
  }
  for (const Data& data :
       {H::MD5DataWithFileHandle(nullptr), H::ZTDHMethod004(nil), H::ZTDHMethod005(nil),
        H::ZTDHMethod014(nil), H::ZTDHMethod014(Bytes()), H::ZTDHMethod021(nil)}) {
    EXPECT_EQ(data, nil);
  }
}

TEST(ZTDHClassTest, OnlySixteenBytesOfADigestAreRendered) {
  Bytes bytes(20, 0xA5);
  bytes[0] = 0x0F;
  EXPECT_EQ(ZTDHClass::ZTDHMethod006(bytes), "0fa5a5a5a5a5a5a5a5a5a5a5a5a5a5a5");
}

TEST(ZTDHClassTest, MixedDigestTakesTurnsAndIsDigestedTwice) {
  EXPECT_EQ(ZTDHClass::ZTDHMethod020ZTDHMethod020Arg1("abcdefghijklmnopqrstuvwxyz012345XX",
                                                      "ABCDEFGHIJKLMNOPQRSTUVWXYZ6789-_"),
            "e109a63abd9226297d7816e8540dda9e" + std::string(96, '0'));
}

TEST(ZTDHClassTest, PercentEscapingLeavesOnlyUnreservedCharacters) {
  EXPECT_EQ(
      ZTDHClass::ZTDHMethod017("!*'();:@&=+$,/?%#[] \"<>\\^`{|}~-._azAZ09é中\x01"),
      "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%20%22%3C%3E%5C%5E%60%7B%7C%7D"
      "~-._azAZ09%C3%A9%E4%B8%AD%01");
  EXPECT_EQ(ZTDHClass::ZTDHMethod017(""), "");
}

// A file whose disk gives up after the first chunk.
struct BrokenFile : FileHandle {
  bool read = false;
  std::optional<std::size_t> Read(std::span<std::uint8_t>) override {
    if (std::exchange(read, true)) return std::nullopt;
    return 1;
  }
};

TEST(ZTDHClassTest, HalfReadFileIsNeverADigest) {
  BrokenFile digested, read;
  EXPECT_THROW(static_cast<void>(ZTDHClass::MD5DataWithFileHandle(&digested)), FileReadError);
  EXPECT_EQ(ReadAll(read), std::nullopt);
}

}  // namespace
}  // namespace zenta

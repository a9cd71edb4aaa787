#include "datahelpers/signing_config.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "datahelpers/file_handle.h"
#include "datahelpers/hex.h"
#include "datahelpers/signing_config_values.h"

namespace zenta::signing {
namespace {

// A build with an invalid configuration fails.
static_assert(sizeof built_in::kModulus == kSignatureBytes && sizeof built_in::kAlphabet == 64 + 1);
static_assert(built_in::kModulus[0] >= 0x80, "the modulus needs all of its 1,024 bits");
static_assert(built_in::kModulus[kSignatureBytes - 1] % 2 == 1, "an RSA modulus is odd");
static_assert(built_in::kExponent % 2 == 1 && built_in::kExponent >= 3);

// Fills `bytes` from exactly two lower-case hexadecimal digits for each.
bool ReadHex(std::string_view text, std::span<std::uint8_t> bytes) {
  if (text.size() != bytes.size() * 2) return false;
  for (std::size_t i = 0; i != bytes.size(); ++i) {
    const std::size_t high = kLowerHexDigits.find(text[2 * i]);
    const std::size_t low = kLowerHexDigits.find(text[2 * i + 1]);
    if (high > 15 || low > 15) return false;
    bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return true;
}

std::array<std::uint8_t, 4> BigEndian(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

bool ReadModulus(std::string_view text, SigningConfig& config) {
  return ReadHex(text, config.modulus) && config.modulus.front() >= 0x80 &&
         config.modulus.back() % 2 == 1;
}

bool ReadExponent(std::string_view text, SigningConfig& config) {
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), config.exponent);
  return error == std::errc() && end == text.data() + text.size() && !text.starts_with('0') &&
         config.exponent >= 3 && config.exponent % 2 == 1;
}

// Takes permutations of these characters only, so that every position has one character, and the
// other way round.
bool ReadAlphabet(std::string_view text, SigningConfig& config) {
  constexpr std::string_view kSorted =
      "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  if (!std::is_permutation(text.begin(), text.end(), kSorted.begin(), kSorted.end())) return false;
  std::copy(text.begin(), text.end(), config.alphabet.begin());
  return true;
}

bool ReadValue(std::string_view text, SigningConfig& config) {
  std::array<std::uint8_t, 4> bytes;
  if (!ReadHex(text, bytes)) return false;
  config.value = 0;
  for (const std::uint8_t byte : bytes) config.value = config.value << 8 | byte;
  return true;
}

bool ReadDevelopment(std::string_view text, SigningConfig& config) {
  config.development = text == "yes";
  return text == "yes" || text == "no";
}

// One `name = value` line: the function that reads the value, and the end of the error message if
// it refuses.
struct Field {
  std::string_view name;
  bool (*read)(std::string_view text, SigningConfig& config);
  const char* wanted;
};

constexpr Field kFields[] = {
    {"modulus", ReadModulus, "256 lower-case hexadecimal digits, an odd number of 1,024 bits"},
    {"exponent", ReadExponent, "an odd decimal number of at least 3"},
    {"alphabet", ReadAlphabet, "each of A-Z a-z 0-9 _ - once"},
    {"value", ReadValue, "8 lower-case hexadecimal digits"},
    {"development", ReadDevelopment, "yes or no"},
};

std::string_view WithoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

using Fields = std::array<bool, std::size(kFields)>;

// Reads one line that is neither empty nor a comment. Returns the fault, or nullopt.
std::optional<std::string> ReadLine(std::string_view line, SigningConfig& config, Fields& seen) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return "wanted: name = value";
  const std::string name(WithoutBlanks(line.substr(0, equals)));
  const auto* field = std::find_if(std::begin(kFields), std::end(kFields),
                                   [&](const Field& each) { return each.name == name; });
  if (field == std::end(kFields)) return "unknown name '" + name + "'";
  bool& there = seen[static_cast<std::size_t>(field - kFields)];
  if (there) return "'" + name + "' is there twice";
  there = true;
  if (field->read(WithoutBlanks(line.substr(equals + 1)), config)) return std::nullopt;
  return "'" + name + "' is not " + field->wanted;
}

}  // namespace

const SigningConfig& BuiltInSigningConfig() {
  static const SigningConfig config = [] {
    SigningConfig made{.exponent = built_in::kExponent,
                       .value = built_in::kValue,
                       .development = built_in::kIsDevelopment};
    std::copy_n(built_in::kModulus, made.modulus.size(), made.modulus.begin());
    std::copy_n(built_in::kAlphabet, made.alphabet.size(), made.alphabet.begin());
    return made;
  }();
  return config;
}

std::variant<SigningConfig, std::string> ParseSigningConfig(std::string_view text) {
  SigningConfig config;
  Fields seen{};
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = WithoutBlanks(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() || line.starts_with('#')) continue;
    if (auto fault = ReadLine(line, config, seen)) {
      return "line " + std::to_string(number) + ": " + *fault;
    }
  }
  const auto missing = std::find(seen.begin(), seen.end(), false);
  if (missing == seen.end()) return config;
  return "'" + std::string(kFields[missing - seen.begin()].name) + "' is missing";
}

std::variant<SigningConfig, std::string> ReadSigningConfig(const std::string& path) {
  constexpr std::size_t kLimit = 65536;  // bytes; a real one has under 1,000
  const auto file = SystemFiles().OpenForReading(path);
  if (!file) return path + ": cannot be opened";
  const Data bytes = ReadAll(*file, kLimit);
  if (!bytes) return path + ": cannot be read, or is too large for a signing configuration";
  auto read = ParseSigningConfig(TextOf(*bytes));
  if (auto* fault = std::get_if<std::string>(&read)) *fault = path + ": " + *fault;
  return read;
}

std::string FormatSigningConfig(const SigningConfig& config) {
  return "modulus = " + HexOf(config.modulus) + "\nexponent = " + std::to_string(config.exponent) +
         "\nalphabet = " + std::string(config.alphabet.begin(), config.alphabet.end()) +
         "\nvalue = " + HexOf(BigEndian(config.value)) +
         "\ndevelopment = " + (config.development ? "yes" : "no") + "\n";
}

}  // namespace zenta::signing

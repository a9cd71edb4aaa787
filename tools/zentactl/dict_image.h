// Opens a dictionary image of either unit width for a command.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "corelib/containers/dict/buffer_dict.h"
#include "tools/common/failure.h"

namespace zenta::zentactl {

template <class T>
using Dict = tstl::BufferDict<T>;

// Why the file at `path` is no image, with the byte where its header is wrong; empty if the header
// is that of an image. Throws Failure if the file cannot be read.
[[nodiscard]] std::string HeaderFault(const std::filesystem::path& path);

// An open image with keys of 8-bit or 16-bit units. A file is mapped; standard input ("-") is read
// whole.
class Image {
 public:
  // What to do if the width cannot be detected because the image is damaged: throw, or assume 8
  // bits.
  enum class IfUnknown { kRefuse, kTake8 };

  // `bits` is 8 or 16, or 0 to detect the width by the hashes of the first keys. Throws Failure if
  // the image cannot be read or is no image.
  Image(const std::filesystem::path& path, unsigned bits,
        IfUnknown if_unknown = IfUnknown::kRefuse);
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] unsigned bits() const { return dict_.index() == 0 ? 8 : 16; }
  [[nodiscard]] std::uint32_t length() const;

  // Calls action(dict) with the dictionary of its width.
  template <class Action>
  decltype(auto) Visit(Action&& action) const {
    return std::visit(std::forward<Action>(action), dict_);
  }
  // The dictionary, if its units are T, else null.
  template <class T>
  [[nodiscard]] const Dict<T>* Of() const {
    return std::get_if<Dict<T>>(&dict_);
  }

  // The failure to throw when damage cut a traversal short.
  [[nodiscard]] tools::Failure Damaged() const;

 private:
  template <class T>
  Dict<T> Open(const std::filesystem::path& path);

  std::string name_;
  std::string bytes_;  // of standard input
  std::variant<Dict<unsigned char>, Dict<unsigned short>> dict_;
};

// Converts the keys of an image to text and back. 8-bit keys are the text itself, 16-bit keys its
// UTF-16. Ill-formed text survives the conversion in both directions.
class KeyText {
 public:
  // Both results are valid until the next call.
  std::string_view Of(tstl::BufferRef<unsigned char> key) { return key.std_view(); }
  std::string_view Of(tstl::BufferRef<unsigned short> key);
  template <class T>
  tstl::BufferRef<T> Key(std::string_view text);

 private:
  std::string text_;
  std::vector<unsigned short> units_;
};
template <>
tstl::BufferRef<unsigned char> KeyText::Key(std::string_view text);
template <>
tstl::BufferRef<unsigned short> KeyText::Key(std::string_view text);

}  // namespace zenta::zentactl

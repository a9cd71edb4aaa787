// A dictionary image that a command reads.
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

// Why these bytes, or those of the file at `path`, are no image, and at which byte; empty if they are one
// as far as its header tells.
[[nodiscard]] std::string HeaderFault(const std::filesystem::path& path);

// An open image, whose keys have 8-bit or 16-bit units. A file is mapped, standard input ("-") read whole.
class Image {
 public:
  // What becomes of an image whose keys do not say how wide they are, because it is damaged.
  enum class IfUnknown { kRefuse, kTake8 };

  // `bits`: 8 or 16; 0: as the hashes of its first keys say. Throws Failure when it cannot be read or is no
  // image.
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
  // The dictionary, if its units are these.
  template <class T>
  [[nodiscard]] const Dict<T>* Of() const {
    return std::get_if<Dict<T>>(&dict_);
  }

  // What to throw when a traversal was cut short.
  [[nodiscard]] tools::Failure Damaged() const;

 private:
  template <class T>
  Dict<T> Open(const std::filesystem::path& path);

  std::string name_;
  std::string bytes_;  // of standard input
  std::variant<Dict<unsigned char>, Dict<unsigned short>> dict_;
};

// Keys between an image and text: 8-bit ones are the text, 16-bit ones its UTF-16. What is ill-formed in
// either goes to the other and comes back as it was.
class KeyText {
 public:
  // Good until the next call.
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

/**
 * @file pmtext.hpp
 * What the C++ interface takes for bytes and for names, and how the library's UTF-16 becomes UTF-8.
 */
#ifndef PMTEXT_HPP
#define PMTEXT_HPP

#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "pmtypes.h"

namespace pmstore {

/** A string of the library: UTF-16. Literals are written PM_TEXT("..."). */
using Text = std::basic_string<PmChar>;

/** Bytes as an argument: a string, a vector, an array, a span or a view of char, unsigned char or std::byte; an
 * address and a size. Looked at during the call only. */
class Bytes {
 public:
  /** No bytes. */
  Bytes() noexcept = default;
  /** `size` bytes. */
  Bytes(const void* data, size_t size) noexcept : data_(data), size_(size) {}
  /** The characters of a string, without its terminator. */
  Bytes(const char* text) noexcept : Bytes(text, std::char_traits<char>::length(text)) {}
  /** The elements of a contiguous range of single bytes. */
  template <typename Range, typename = std::enable_if_t<!std::is_convertible_v<const Range&, const char*>>,
            typename Element = std::remove_pointer_t<decltype(std::data(std::declval<const Range&>()))>,
            typename = std::enable_if_t<std::is_same_v<std::remove_cv_t<Element>, char> ||
                                        std::is_same_v<std::remove_cv_t<Element>, unsigned char> ||
                                        std::is_same_v<std::remove_cv_t<Element>, std::byte>>>
  Bytes(const Range& range) noexcept : Bytes(std::data(range), std::size(range)) {}
  Bytes(std::nullptr_t) = delete;

  const void* data() const noexcept { return data_; } /**< the first byte */
  size_t size() const noexcept { return size_; }      /**< the number of bytes */

 private:
  const void* data_ = nullptr;
  size_t size_ = 0;
};

/** A user-data string as an argument: UTF-8 (strings of char, and of char8_t) or UTF-16 (of char16_t, and of PmChar);
 * null, or nothing, for none. What is no such string is refused by the call, with Errc::kBadName. */
class Name {
 public:
  /** No name. */
  Name() noexcept = default;
  /** No name. */
  Name(std::nullptr_t) noexcept {}
  /** UTF-8, or for null no name. */
  Name(const char* name) noexcept { assign<char>(name); }
  /** UTF-16, or for null no name. */
  Name(const char16_t* name) noexcept { assign<char16_t>(name); }
  /** UTF-8. */
  template <typename String, std::enable_if_t<std::is_convertible_v<const String&, std::string_view> &&
                                                  !std::is_convertible_v<const String&, const char*>,
                                              int> = 0>
  Name(const String& name) noexcept {
    assign(std::string_view(name));
  }
  /** UTF-16. */
  template <typename String, std::enable_if_t<std::is_convertible_v<const String&, std::u16string_view> &&
                                                  !std::is_convertible_v<const String&, const char16_t*>,
                                              long> = 0>
  Name(const String& name) noexcept {
    assign(std::u16string_view(name));
  }
#if defined(_WIN32)
  /** UTF-16, or for null no name. */
  Name(const wchar_t* name) noexcept {
    assign<wchar_t>(name);
  }
  /** UTF-16. */
  Name(const std::wstring& name) noexcept {
    assign(std::wstring_view(name));
  }
  /** UTF-16. */
  Name(std::wstring_view name) noexcept {
    assign(name);
  }
#endif
#if defined(__cpp_char8_t)
  /** UTF-8, or for null no name. */
  Name(const char8_t* name) noexcept {
    assign<char>(reinterpret_cast<const char*>(name));
  }
  /** UTF-8. */
  Name(std::u8string_view name) noexcept {
    assign(std::string_view(reinterpret_cast<const char*>(name.data()), name.size()));
  }
  /** UTF-8. */
  Name(const std::u8string& name) noexcept : Name(std::u8string_view(name)) {}
#endif

  /** Whether it is a name, or none, that a call takes. */
  bool valid() const noexcept {
    return valid_;
  }
  /** The name in UTF-16, null for none. */
  const PmChar* get() const noexcept {
    return present_ ? text_.c_str() : nullptr;
  }

 private:
  template <typename Char>
  void assign(const Char* name) noexcept {
    if (name != nullptr) assign(std::basic_string_view<Char>(name));
  }

  template <typename Char>
  void assign(std::basic_string_view<Char> name) noexcept {
    present_ = true;
    try {
      valid_ = name.find(Char{0}) == name.npos && append(name);
    } catch (const std::exception&) {  // no memory
      valid_ = false;
    }
  }

  template <typename Char>
  bool append(std::basic_string_view<Char> name) {
    text_.assign(name.begin(), name.end());
    return true;
  }

  // Surrogates in three bytes are taken, as nameOf() of a vault writes those that stand alone.
  bool append(std::string_view name) {
    for (size_t i = 0; i < name.size();) {
      const auto first = static_cast<unsigned char>(name[i++]);
      const int following = first < 0x80   ? 0
                            : first < 0xC2 ? -1
                            : first < 0xE0 ? 1
                            : first < 0xF0 ? 2
                            : first < 0xF5 ? 3
                                           : -1;
      if (following < 0 || name.size() - i < static_cast<size_t>(following)) return false;
      uint32_t character = following == 0 ? first : first & (0x3FU >> following);
      for (int k = 0; k < following; ++k) {
        const auto next = static_cast<unsigned char>(name[i++]);
        if ((next & 0xC0) != 0x80) return false;
        character = character << 6 | (next & 0x3FU);
      }
      constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
      if (character < kLeast[following] || character > 0x10FFFF) return false;
      if (character >= 0x10000) {
        text_ += static_cast<PmChar>(0xD800 + ((character - 0x10000) >> 10));
        character = 0xDC00 + (character & 0x3FF);
      }
      text_ += static_cast<PmChar>(character);
    }
    return true;
  }

  Text text_;
  bool present_ = false, valid_ = true;
};

/** A string of the library in UTF-8. A surrogate that stands alone becomes its three bytes. */
inline std::string toUtf8(const PmChar* text) {
  std::string result;
  while (uint32_t character = *text++) {
    if ((character & 0xFC00) == 0xD800 && (*text & 0xFC00) == 0xDC00)
      character = 0x10000 + ((character & 0x3FF) << 10) + (*text++ & 0x3FFU);
    const int following = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    const uint32_t mark = following == 0 ? 0 : 0xFF00U >> (following + 1) & 0xFF;
    result += static_cast<char>(mark | character >> (6 * following));
    for (int i = following - 1; i >= 0; --i)
      result += static_cast<char>(0x80 | (character >> (6 * i) & 0x3F));
  }
  return result;
}

}  // namespace pmstore

#endif

#include "corelib/text/buffer_ref.h"

#include <compare>
#include <sstream>
#include <unordered_set>
#include <vector>

#include "corelib/text/buffer.h"
#include "tests/corelib/text/units.h"

namespace tstl {
namespace {

using View8 = BufferRef<unsigned char>;
using View16 = BufferRef<unsigned short>;

// What must not convert: text of the other width, a C string to 16-bit text, a view to a number.
template <class View, class... From>
constexpr bool kRefuses = (!std::is_constructible_v<View, From> && ...);
static_assert(kRefuses<View16, const char*, std::string, View8> &&
              kRefuses<View8, std::u16string, View16>);
// Nor may a view be assigned from a temporary owner, nor a position be passed as a unit.
static_assert(!std::is_assignable_v<View8&, std::string> &&
              !std::is_assignable_v<View8&, Buffer<unsigned char>> &&
              !std::is_assignable_v<BufferRefMutable<unsigned char>&, std::string> &&
              std::is_assignable_v<View8&, std::string&>);
template <class C>
concept IsUnit = requires(View8 view, C c) {
  view.find_chr('l', c);
};
static_assert(IsUnit<char> && IsUnit<unsigned char> && !IsUnit<int> && !IsUnit<unsigned>);
static_assert(!std::is_convertible_v<View8, bool> && sizeof(View8[3]) == 3 * (sizeof(void*) + 4));

// All reading operations work in constant expressions.
constexpr unsigned char kLine[] = {' ', 'k', '=', '-', '1', '2', ',', 'b', '/', 'c', '\r', '\n'};
constexpr View8 kView(kLine, 12);
static_assert(kView.find_chr('x', ',') == 6 && kView.findback_slash() == 8 &&
              kView.findback_str(kView.sub_head(1)) == 0 && kView.sub_trim_all().len() == 11);
static_assert(kView.sub_tail(3).to_num() == -12 && kView.sub_str(4, 2).to_hex() == 0x12 &&
              kView.sub_head(2) < kView && kView.find_str(kView.sub_str(4, 2)) == 4);
static_assert([] {
  BufferRefMutable<unsigned char> all = kView, rest = all.fetch_before_crlf(), fields[2];
  return all.is_empty() && rest.split(fields, ',', 2) == 2 &&
         rest.fetch_before_chr(',') == kView.sub_head(6) && fields[1] == rest;
}());

constexpr unsigned short kWide[] = {'h', 'e', 'l', 'l', 'o'};
constexpr View16 kHello(kWide, 5);
static_assert(kHello.find_str("l") == 2 && kHello.findback_str("l") == 3 &&
              kHello.find_chrlist("xl") == 2 && kHello.match_str("help") == 3);
static_assert(kHello.is_startwith("he") && !kHello.is_startwith("el") && kHello.is_endwith("lo") &&
              !kHello.is_endwith("ll") && kHello.is_greater("hell") && kHello > "hell" &&
              kHello < "help" && kHello.compare("hello") == 0 && kHello != "hell");
static_assert([] {
  unsigned len = 0;
  BufferRefMutable<unsigned short> rest = kHello;
  return kHello.find_between(len, "e", "o") == 2 && len == 2 && rest.fetch_before_str("ll") == "he";
}());

unsigned Number(const std::string& text) { return static_cast<unsigned>(std::stoi(text)); }

template <class T>
class ViewTest : public testing::Test {};
TYPED_TEST_SUITE(ViewTest, Units, UnitNames);

TYPED_TEST(ViewTest, SubViewsAreCutAtTheEnds) {
  const HeapText<TypeParam> abcd("abcd");
  const auto v = abcd.view();
  const auto text = v.std_view();
  const auto address = [](BufferRef<TypeParam> view) {
    return reinterpret_cast<std::uintptr_t>(view.ref_internal_data());
  };
  for (const unsigned n : {0u, 1u, 3u, 4u, 5u, 10u, NOT_FOUND - 1, NOT_FOUND}) {
    const unsigned in = std::min(n, 4u);
    EXPECT_EQ(v.sub_head(n), text.substr(0, n));
    EXPECT_EQ(v.sub_tail(n), text.substr(in));
    EXPECT_EQ(v.sub_head_rev(n), text.substr(0, 4 - in));
    EXPECT_EQ(v.sub_tail_rev(n), text.substr(4 - in));
    for (const unsigned pos : {0u, 2u, 4u, 5u, NOT_FOUND}) {
      EXPECT_EQ(v.sub_str(pos, n), text.substr(std::min(pos, 4u), n)) << pos << " " << n;
      // The pointer keeps a position past the end, also if it was null.
      EXPECT_EQ(address(v.sub_str(pos, n)), address(v) + std::uintptr_t{pos} * sizeof(TypeParam));
      EXPECT_EQ(address(BufferRef<TypeParam>().sub_tail(pos)),
                pos * std::uintptr_t{sizeof(TypeParam)});
    }
  }
}

TYPED_TEST(ViewTest, FileNamesAndSpacesAreTakenOff) {
  // Text, file name, path.
  for (const auto& row :
       Rows("dir/sub\\file.txt|file.txt|dir/sub a/b/c|c|a/b file|file|file a\\||a /|| ||")) {
    const HeapText<TypeParam> text(row[0]);
    EXPECT_EQ(text.view().sub_fname(), Widen<TypeParam>(row[1])) << row[0];
    EXPECT_EQ(text.view().sub_fpath(), Widen<TypeParam>(row[2])) << row[0];
  }
  // Text; without spaces at the start, at the end, at both.
  for (const auto& row : Rows("__a\t_b__|a\t_b__|__a\t_b|a\t_b ___||| ||| \t_|\t_|\t|\t a|a|a|a")) {
    const HeapText<TypeParam> text(row[0]);
    EXPECT_EQ(text.view().sub_trim_head(), Widen<TypeParam>(row[1])) << row[0];
    EXPECT_EQ(text.view().sub_trim_tail(), Widen<TypeParam>(row[2])) << row[0];
    EXPECT_EQ(text.view().sub_trim_all(), Widen<TypeParam>(row[3])) << row[0];
  }
}

TYPED_TEST(ViewTest, LineBreaksAreFoundFromEitherEnd) {
  // Text; position and length of the first break, of the last.
  for (const auto& row :
       Rows("|-1|0|-1|0 abc|-1|0|-1|0 ab\r|2|1|2|1 ab\r\ncd|2|2|2|2 a\n\rb|1|1|2|1 \n|0|1|0|1 "
            "\r\r\n|0|1|1|2 \n\n|0|1|1|1 a\r\nb|1|2|1|2 0123456789abcdefghijklmno\r\n|25|2|25|2")) {
    SCOPED_TRACE(row[0]);
    const HeapText<TypeParam> text(row[0]);
    unsigned len = 9;
    EXPECT_EQ(text.view().find_crlf(len), Number(row[1]));
    EXPECT_EQ(len, Number(row[2]));
    EXPECT_EQ(text.view().findback_crlf(len), Number(row[3]));
    EXPECT_EQ(len, Number(row[4]));
  }
}

TYPED_TEST(ViewTest, TextBetweenIsWhollyAfterItsOpening) {
  // Text, opening and closing unit; position and length of the units between.
  for (const auto& row :
       Rows("a(bc)d|(|)|2|2 ()|(|)|1|0 )(|(|)|-1|0 |(|)|-1|0 a(b|(|)|-1|0 !a!|!|!|1|1 !|!|!|-1|0 "
            "<!--x-->|<!--|-->|4|1 <!-->|<!--|-->|-1|0")) {
    SCOPED_TRACE(row[0]);
    const HeapText<TypeParam> text(row[0]), open(row[1]), close(row[2]);
    unsigned len = 9;
    EXPECT_EQ(text.view().find_between(len, open.view(), close.view()), Number(row[3]));
    EXPECT_EQ(len, Number(row[4]));
    if (open.view().len() != 1) continue;
    EXPECT_EQ(text.view().find_between(len, open.view()[0], close.view()[0]), Number(row[3]));
    EXPECT_EQ(len, Number(row[4]));
  }
}

TYPED_TEST(ViewTest, TextIsClassifiedByItsAsciiUnits) {
  // n: number, a: letters, A: letters and digits, @: mail address begun, p: relative path.
  for (const auto& row : Rows(
           "|aAp -|p -12|np 12345678901234567890|nAp -1234567890123456789|np "
           "123456789012345678901|Ap 1-2|p azAZ|aAp a9|Ap [a|p `a|p @a|p {a|p a@|@p _@|p 0@|@p @|p "
           "a.@|p a@b|p /|p /a| c:\\| ./a|p .:|p \xC1z|p")) {
    SCOPED_TRACE(row[0]);
    const HeapText<TypeParam> text(row[0]);
    const auto is = [&row](char property) { return row[1].find(property) != std::string::npos; };
    EXPECT_EQ(text.view().is_numstr(), is('n'));
    EXPECT_EQ(text.view().is_alpha_str(), is('a'));
    EXPECT_EQ(text.view().is_alpha_num_str(), is('A'));
    EXPECT_EQ(text.view().is_email_pred(), is('@'));
    EXPECT_EQ(text.view().is_relative_path(), is('p'));
  }
  EXPECT_TRUE(HeapText<TypeParam>("_@").view().is_email_pred());  // a table cell reads '_' as ' '
  EXPECT_TRUE(HeapText<TypeParam>("bcd").view().is_range('b', 'd'));
  EXPECT_FALSE(HeapText<TypeParam>("bcd").view().is_range('b', 'c'));
}

TYPED_TEST(ViewTest, OrderIsThatOfUnsignedUnits) {
  const auto sorted = Rows(
      "| \x01 a ab abc abcdefghijklmnopqrstuvwxyz abcdefghijklmnopqrstuvwxyz0 "
      "abcdefghijklmnopqrzz abd b \xFF");
  for (const auto& left_row : sorted) {
    for (const auto& right_row : sorted) {
      const auto want = &left_row <=> &right_row;
      const HeapText<TypeParam> left(left_row[0]), right(right_row[0]);
      const auto l = left.view(), r = right.view();
      const char* const c_str = right_row[0].c_str();
      const BufferRefMutable<TypeParam> mutable_r = r;
      const Buffer<TypeParam> owner_l(l), owner_r(r);
      const StdString<TypeParam> std_r(r);
      for (const auto got :
           {l <=> r, l <=> mutable_r, l <=> owner_r, owner_l <=> r, owner_l <=> owner_r,
            l <=> std_r, l <=> r.std_view(), 0 <=> (r <=> l)}) {
        EXPECT_EQ(got, want) << l << " / " << r;
      }
      for (const bool equal :
           {l == r, !(l != mutable_r), mutable_r == owner_l, owner_l == owner_r, std_r == l,
            l == r.std_view(), l == c_str, owner_l.is_equal(c_str)}) {
        EXPECT_EQ(equal, want == 0) << l << " / " << r;
      }
      EXPECT_EQ(l.is_greater(r), want > 0);
    }
  }
  EXPECT_FALSE(HeapText<TypeParam>(std::string_view("a\0b", 3)).view().is_equal("a"));
}

TYPED_TEST(ViewTest, IniLinesGiveSectionsAndPairs) {
  // Line, result, key, value.
  for (const auto& row :
       Rows("__key_=_value_;_note|2|key|value [sec]|1|sec| _[_s_]_;|1|_s_| []|0|| []]|1|]| "
            "[sec|2|[sec| a=|0|| ab=|2|ab| a=b|2|a|b =abc|0|| =a=b|0|| abc|2|abc| |0|| ;abc|0|| "
            "a_=_b_=_c|2|a|b_=_c \tk\t=\tv|2|\tk\t|\tv a_b;c=d|2|a_b|")) {
    SCOPED_TRACE(row[0]);
    const HeapText<TypeParam> line(row[0]);
    BufferRefMutable<TypeParam> key = line.view(), value = line.view();
    EXPECT_EQ(line.view().parse_ini_line(key, value, ';'), std::stoi(row[1]));
    EXPECT_EQ(key, Widen<TypeParam>(row[2]));
    EXPECT_EQ(value, Widen<TypeParam>(row[3]));
    BufferRefMutable<TypeParam> itself = line.view();  // an output may be the line itself
    EXPECT_EQ(itself.parse_ini_line(itself, value, ';'), std::stoi(row[1]));
    EXPECT_EQ(itself, key);
  }
  BufferRefMutable<TypeParam> key, value;
  EXPECT_EQ(HeapText<TypeParam>("a;b=c").view().parse_ini_line(key, value, 0), 2);
  EXPECT_EQ(key.len(), 3);
}

TYPED_TEST(ViewTest, SplitSkipsEmptyFieldsAndSplitNumStopsAtThem) {
  // The maximum, text, fields, numbers; a ';' follows each result.
  for (const auto& row : Rows("9|,a,,b,|a;b;| 9|1,,2|1;2;|1; 9||| 2|1,2,3|1;2;|1;2; 0|1|| 9|,|| "
                              "9|7x,y,42949672960,|7x;y;42949672960;|7;0;4294967295;")) {
    SCOPED_TRACE(row[1]);
    const HeapText<TypeParam> text(row[1]);
    const unsigned max = Number(row[0]);
    BufferRefMutable<TypeParam> fields[9];
    unsigned numbers[9];
    const auto told = [](const auto* values, unsigned count) {
      std::ostringstream out;
      for (unsigned i = 0; i < count; ++i) out << values[i] << ';';
      return out.str();
    };
    EXPECT_EQ(told(fields, text.view().split(fields, ',', max)), row[2]);
    EXPECT_EQ(told(numbers, text.view().split_num(numbers, ',', max)), row[3]);
  }
}

TYPED_TEST(ViewTest, CuttingAndTrimmingConsumeWhatTheyTakeOff) {
  const HeapText<TypeParam> text("  ab  ");
  BufferRefMutable<TypeParam> view = text.view();
  EXPECT_EQ(view.cut_head(1), 5);
  EXPECT_EQ(view.trim_head().len(), 4);
  EXPECT_EQ(view.trim_all(), Widen<TypeParam>("ab"));
  EXPECT_EQ(view.fetch_head(1, NOT_FOUND), Widen<TypeParam>("a"));  // skips the rest
  EXPECT_EQ(view.fetch_before_chr(0), view.fetch_before_crlf());
  EXPECT_EQ(view.cut_head(9), 0);
  view.reset();
  EXPECT_EQ(view.ref_internal_data(), nullptr);
}

TYPED_TEST(ViewTest, ChangesInPlaceAgreeWithAString) {
  RandomTexts random(4);
  for (int i = 0; i < 3000; ++i) {
    const HeapText<TypeParam> start = random.next<TypeParam>(24, "ab \xE1");
    const HeapText<TypeParam> foreign = random.next<TypeParam>(9, "abc\xE1");
    const unsigned n = start.view().len(), pos = random.below(n + 2), at = std::min(pos, n);
    const unsigned from = random.below(n + 1), count = random.below(n + 1);
    const auto c = random.unit<TypeParam>("ab\xE1");
    const auto set = foreign.view().std_view();
    const auto in_set = [set](auto unit) { return set.find(unit) != set.npos; };
    // The same change in place and on a string: with a text outside, with a part of the view, and
    // with one in the free memory after it.
    const auto check = [&](auto change, auto change_string) {
      for (const int itself : {0, 1, 2}) {
        const HeapText<TypeParam> room(std::string(2 * n + 10, '#'));  // for the longest result
        std::copy(start.view().begin(), start.view().end(), room.view().begin());
        std::copy(foreign.view().begin(), foreign.view().end(), room.view().begin() + n);
        BufferRef<TypeParam> view = room.view().sub_head(n);
        const auto other = itself == 0   ? foreign.view()
                           : itself == 1 ? view.sub_str(from, count)
                                         : room.view().sub_str(n, foreign.view().len());
        StdString<TypeParam> want(view), text(other);
        change(view, other);
        change_string(want, text);
        ASSERT_EQ(view, want) << start.view() << " at " << pos << " of " << text.size() << itself;
      }
    };
    check([](auto& v, auto o) { v.append_str(o); }, [](auto& s, auto& t) { s += t; });
    check([&](auto& v, auto o) { v.insert_str(pos, o); },
          [&](auto& s, auto& t) { s.insert(at, t); });
    check([&](auto& v, auto o) { v.write(at, o.sub_head(n - at)); },
          [&](auto& s, auto& t) { s.replace(at, t.size(), t, 0, n - at).resize(n); });
    check([&](auto& v, auto) { v.erase(pos, count); }, [&](auto& s, auto&) { s.erase(at, count); });
    check([&](auto& v, auto) { v.erase_chr(c); },
          [&](auto& s, auto&) { std::erase(s, CharOf<TypeParam>(c)); });
    check([&](auto& v, auto) { v.erase_chrlist(foreign); },
          [&](auto& s, auto&) { std::erase_if(s, in_set); });
    if (n == 0) continue;
    check([](auto& v, auto) { v.reverse(); },
          [](auto& s, auto&) { std::reverse(s.begin(), s.end()); });
  }
}

TYPED_TEST(ViewTest, StandardLibraryAndViewsMeet) {
  const StdString<TypeParam> text = Widen<TypeParam>("Mixed Case");
  std::unordered_set<BufferRef<TypeParam>> set{text};
  EXPECT_EQ(set.count(BufferRefMutable<TypeParam>(text)), 1);
  std::unordered_set<Buffer<TypeParam>> buffers;
  buffers.emplace(text);
  EXPECT_EQ(buffers.count(Buffer<TypeParam>(text)), 1);
  EXPECT_EQ(std::hash<BufferRef<TypeParam>>()(text), std::hash<StdString<TypeParam>>()(text));
  const HeapText<TypeParam> copy(std::string(11, '#'));
  EXPECT_EQ(BufferRef<TypeParam>(text).read_zend(copy.view().str()), 10);
  BufferRef<TypeParam> view = copy.view();
  view.to_up();
  EXPECT_EQ(view.replace_chr('E', '3'), 2);
  EXPECT_EQ(view, Widen<TypeParam>(std::string_view("MIX3D CAS3\0", 11)));
  std::ostringstream out;
  out << View16(std::u16string_view(u"a\u4E2D\xD800"));
  EXPECT_EQ(out.str(), "a\\u4E2D\\uD800");
}

}  // namespace
}  // namespace tstl

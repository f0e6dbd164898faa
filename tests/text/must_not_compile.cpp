// What must not compile. Each case is an error that its macro switches on, and beside it the same
// without the error; the comment is what the compiler is to say about it. must_not_compile.py
// compiles this file once for each case, and once without any of them.

#include "tests/text/must_not_compile.h"

namespace vesk {

void cases(char* out, LineList& lines, const u64& wide, const u32& narrow, int& count) {
  // The number of arguments.

#ifdef NO_ARGUMENT  // as many arguments as the format has conversions
  format::write<"%s">(out);
#else
  format::write<"%s">(out, "text");
#endif

#ifdef TOO_FEW_ARGUMENTS  // as many arguments as the format has conversions
  format::write<"%u %u">(out, 1u);
#else
  format::write<"%u %u">(out, 1u, 2u);
#endif

#ifdef TOO_MANY_ARGUMENTS  // as many arguments as the format has conversions
  format::write<"%u">(out, 1u, 2u);
#else
  format::write<"%u">(out, 1u);
#endif

#ifdef ARGUMENT_WITHOUT_CONVERSION  // as many arguments as the format has conversions
  format::write<"text">(out, 1u);
#else
  format::write<"text">(out);
#endif

  // The types of arguments.

#ifdef UNSIGNED_OF_64_BITS  // a conversion does not take its argument
  format::write<"%u">(out, std::uint64_t{1});
#else
  format::write<"%llu">(out, std::uint64_t{1});
#endif

#ifdef HEX_OF_64_BITS  // a conversion does not take its argument
  format::write<"%016X">(out, std::uint64_t{1});
#else
  format::write<"%016llX">(out, std::uint64_t{1});
#endif

#ifdef LONG_LONG_OF_32_BITS  // a conversion does not take its argument
  format::write<"%llu">(out, std::uint32_t{1});
#else
  format::write<"%u">(out, std::uint32_t{1});
#endif

#ifdef WIRE_FIELD_OF_64_BITS  // a conversion does not take its argument
  format::write<"%u">(out, wide);
#else
  format::write<"%llu">(out, wide);
#endif

#ifdef STRING_OF_INT  // a conversion does not take its argument
  format::write<"%s">(out, 1);
#else
  format::write<"%i">(out, 1);
#endif

#ifdef INT_OF_DOUBLE  // a conversion does not take its argument
  format::write<"%i">(out, 1.0);
#else
  format::write<"%f">(out, 1.0);
#endif

#ifdef INT_OF_STRING  // a conversion does not take its argument
  format::write<"%d">(out, "text");
#else
  format::write<"%s">(out, "text");
#endif

#ifdef FIXED_OF_INT  // a conversion does not take its argument
  format::write<"%f">(out, 1);
#else
  format::write<"%f">(out, 1.0);
#endif

#ifdef FIXED_OF_LONG_DOUBLE  // a conversion does not take its argument
  format::write<"%f">(out, 1.0L);
#else
  format::write<"%f">(out, 1.0);
#endif

#ifdef SECOND_OF_TWO  // a conversion does not take its argument
  format::write<"%u %s">(out, 1u, 2u);
#else
  format::write<"%u %u">(out, 1u, 2u);
#endif

#ifdef LINE_OF_WRONG_TYPE  // a conversion does not take its argument
  lines.add(line<"%40s: %i">("BLOB", wide));
#else
  lines.add(line<"%40s: %lli">("BLOB", wide));
#endif

  // Columns that are shorter or longer than the first.

  const u32 two[2] = {};
  const u32 three[3] = {};
  const std::array<u32, 3> threeToo{};

#ifdef COLUMN_TOO_SHORT  // columns of one length
  lines.add(each<"%u %u">(three, two));
#else
  lines.add(each<"%u %u">(three, threeToo));
#endif

#ifdef COLUMN_TOO_LONG  // columns of one length
  lines.add(each<"%u %u">(two, threeToo));
#else
  lines.add(each<"%u %u">(two, two));
#endif

#ifdef LAST_COLUMN_TOO_SHORT  // columns of one length
  lines.add(each<"%u %u %u">(three, threeToo, two));
#else
  lines.add(each<"%u %u %u">(three, threeToo, three));
#endif

  // Conversions that are not ours.

#ifdef CONVERSION_C  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%c">(out, 'c');
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_P  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%p">(out, out);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_E  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%e">(out, 1.0);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_G  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%g">(out, 1.0);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_N  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%n">(out, &count);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_LD  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%ld">(out, 1L);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_HD  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%hd">(out, 1);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_ZU  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%zu">(out, sizeof count);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_STAR  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"%*d">(out, 5, 1);
#else
  format::write<"%d">(out, 1);
#endif

#ifdef CONVERSION_PERCENT  // format: a conversion other than %s %u %i %d %x %X %f
  format::write<"100 %%">(out);
#else
  format::write<"100 ">(out);
#endif

#ifdef LL_WITH_S  // format: ll with %s or %f
  format::write<"%lls">(out, "text");
#else
  format::write<"%s">(out, "text");
#endif

#ifdef LL_WITH_F  // format: ll with %s or %f
  format::write<"%llf">(out, 1.0);
#else
  format::write<"%f">(out, 1.0);
#endif

  // What C leaves undefined.

#ifdef HASH_WITH_I  // format: the flag # with %i, %d, %u or %s
  format::write<"%#i">(out, 1);
#else
  format::write<"%#x">(out, 1);
#endif

#ifdef HASH_WITH_U  // format: the flag # with %i, %d, %u or %s
  format::write<"%#u">(out, 1u);
#else
  format::write<"%u">(out, 1u);
#endif

#ifdef HASH_WITH_S  // format: the flag # with %i, %d, %u or %s
  format::write<"%#s">(out, "text");
#else
  format::write<"%s">(out, "text");
#endif

#ifdef ZERO_WITH_S  // format: the flag 0 with %s
  format::write<"%05s">(out, "text");
#else
  format::write<"%5s">(out, "text");
#endif

  // Formats that are cut off, or out of measure.

#ifdef ENDS_IN_PERCENT  // format: ends within a conversion
  format::write<"100%">(out);
#else
  format::write<"100">(out);
#endif

#ifdef ENDS_IN_FLAGS  // format: ends within a conversion
  format::write<"%u % ">(out, 1u);
#else
  format::write<"%u ">(out, 1u);
#endif

#ifdef ENDS_IN_LENGTH  // format: ends within a conversion
  format::write<"%ll">(out, 1LL);
#else
  format::write<"%lld">(out, 1LL);
#endif

#ifdef WIDTH_OVER_999  // format: a width or precision over 999
  format::write<"%1000d">(out, 1);
#else
  format::write<"%999d">(out, 1);
#endif

#ifdef PRECISION_OVER_999  // format: a width or precision over 999
  format::write<"%.1000f">(out, 1.0);
#else
  format::write<"%.999f">(out, 1.0);
#endif

  // Run-time formats and texts that are constants.

#ifdef CONSTANT_FORMAT_OF_TWO  // format: other than one conversion
  { constexpr format::Format two("%d %d"); }
#else
  { constexpr format::Format two("%d d"); }
#endif

#ifdef CONSTANT_TEXT_TOO_LONG  // longer than its capacity
  { constexpr format::Text<16> label("seventeen letters"); }
#else
  { constexpr format::Text<32> label("seventeen letters"); }
#endif

  // Numbers and dictionaries of types that have no kind.

#ifdef NUMBER_OF_LONG_DOUBLE  // no kind of number is made from this type
  { Number number(1.0L); }
#else
  { Number number(1.0); }
#endif

#ifdef NUMBER_OF_CHAR8  // no kind of number is made from this type
  { Number number(u8'1'); }
#else
  { Number number(1u); }
#endif

#ifdef NUMBER_OF_CHAR  // no kind of number is made from this type
  { Number number('1'); }
#else
  { Number number(1); }
#endif

#ifdef NUMBER_OF_SIGNED_CHAR  // no kind of number is made from this type
  { Number number(static_cast<signed char>(1)); }
#else
  { Number number(static_cast<unsigned char>(1)); }
#endif

#ifdef NUMBER_OF_SHORT  // no kind of number is made from this type
  { Number number(static_cast<short>(1)); }
#else
  { Number number(static_cast<unsigned short>(1)); }
#endif

#ifdef DICTIONARY_OF_LITERAL  // no kind of number is made from this type
  dictionary("KEY"_key = "text");
#else
  dictionary("KEY"_key = std::string_view("text"));
#endif

#ifdef DICTIONARY_OF_STRING  // no kind of number is made from this type
  dictionary("KEY"_key = std::string("text"));
#else
  dictionary("KEY"_key = std::string_view("text"));
#endif

#ifdef DICTIONARY_OF_SHORT  // no kind of number is made from this type
  dictionary("KEY"_key = static_cast<short>(1));
#else
  dictionary("KEY"_key = 1);
#endif

#ifdef ARRAY_OF_64_BITS  // no matching
  { NumberArray array(&wide, 1); }
#else
  { NumberArray array(&narrow, 1); }
#endif

  // Layouts with padding.

#ifdef LAYOUT_WITH_ALIGNMENT  // alignof(Record) == 1
  (void)view<std::uint32_t>(out);
#else
  (void)view<u32>(out);
#endif

  (void)count;
}

}  // namespace vesk

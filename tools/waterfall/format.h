// tools/waterfall/format.h: how a sample lies in memory, and how it may lie in a file.
#ifndef WATERFALL_FORMAT_H
#define WATERFALL_FORMAT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace waterfall {

/// What the chain takes, little-endian. c...: I and Q interleaved; the others are one real channel.
/// u8 has its zero at 127.5.
enum class Format { cu8, cs8, cs16, cf32, cf64, u8, s8, s16, f32, f64 };

std::size_t bytes_per_sample(Format format);
bool is_complex(Format format);
const char* name(Format format);

/// A number in a file. Unsigned ones have their zero in the middle of their range (as u8 has), but for
/// wav8, whose zero is 128.
enum class Number { u8, s8, u16, s16, s24, u32, s32, f32, f64, wav8 };

/// A sample in a file.
struct Coding {
    Number number = Number::f32;
    bool complex = true;
    bool big_endian = false;
};

std::size_t bytes_per_sample(const Coding& coding);
/// "cs16", "u32", "cf32be"
std::string name(const Coding& coding);

/// The format that a coding is read as: its own, or the narrowest that loses nothing of it (of u16 the last
/// bit's half).
Format format_of(const Coding& coding);
void convert(const Coding& coding, const void* stored, std::size_t samples, void* block);

/// SigMF's datatypes: "ci16_le"; what has a single byte needs no byte order.
std::optional<Coding> sigmf_coding(std::string_view name);
/// Nothing where it knows none.
std::string sigmf_name(const Coding& coding);

/// By this program's name, by SigMF's ("cs16" or "ci16_le") or by what files are called ("sc16",
/// "cfile"), in capitals or not; nothing where the name is unknown.
std::optional<Coding> coding_named(std::string_view name);

/// For messages.
std::string coding_names();

} // namespace waterfall

#endif // WATERFALL_FORMAT_H

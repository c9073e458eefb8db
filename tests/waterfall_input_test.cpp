// Raw samples from files and pipes: what was put in comes out, whatever the block size, and what is
// wrong is said in one line.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"
#include "waterfall_files.h"

#include <cmath>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <thread>

using namespace waterfall;

namespace {

TEST(WaterfallUnits, ReadAndWritten)
{
    EXPECT_EQ(with_unit(2.4e6, "S/s"), "2.4 MS/s");
    EXPECT_EQ(with_unit(1, "S/s"), "1 S/s");
    EXPECT_EQ(with_unit(0, "Hz"), "0 Hz");
    EXPECT_EQ(with_unit(-100e3, "Hz"), "-100 kHz");
    EXPECT_EQ(with_unit(832344126.0, "Hz"), "832.344126 MHz");
    EXPECT_EQ(with_unit(3502.8e6, "Hz"), "3502.8 MHz");
    EXPECT_EQ(with_unit(24.25e9, "Hz"), "24.25 GHz");
    EXPECT_EQ(with_unit(0.0125, "s"), "12.5 ms");
    EXPECT_EQ(with_unit(5e-7, "s"), "0.5 us");
    EXPECT_EQ(parse_number("2.4M"), 2.4e6);
    EXPECT_EQ(parse_number("-100k"), -1e5);
    EXPECT_EQ(parse_number("3.5028G"), 3.5028e9);
    EXPECT_EQ(parse_number("48e3"), 48000.0);
    EXPECT_EQ(parse_number("4Ki"), 4096.0);
    EXPECT_EQ(parse_number("1Mi"), 1048576.0);
    EXPECT_EQ(parse_count("4k"), 4000U);
    EXPECT_EQ(parse_count("1.5k"), 1500U);
    for (const char* bad : {"-1", "0.5", "1e17", "-4k", "4Kii", "4ki"})
        EXPECT_EQ(parse_count(bad), std::nullopt) << bad;
    EXPECT_EQ(duration_text(0.0125), "12.5 ms");
    EXPECT_EQ(duration_text(60), "1 min");
    EXPECT_EQ(duration_text(3723.5), "1 h 2 min 3.5 s");
    EXPECT_EQ(duration_text(7200), "2 h 0 min");
    for (const char* bad : {"", "M", "2.4MHz", "1,5", "12x", "nan", "inf", "1e400", "1 2"})
        EXPECT_EQ(parse_number(bad), std::nullopt) << bad;
}

TEST(WaterfallFormat, Table)
{
    const std::array<std::size_t, 10> bytes{2, 2, 4, 8, 16, 1, 1, 2, 4, 8};
    for (std::size_t i = 0; i != formats.size(); ++i) {
        EXPECT_EQ(bytes_per_sample(formats[i]), bytes[i]);
        EXPECT_EQ(is_complex(formats[i]), i < 5);
        const Coding coding = coding_named(name(formats[i])).value();
        EXPECT_EQ(name(coding), name(formats[i]));
        EXPECT_EQ(format_of(coding), formats[i]);
        EXPECT_EQ(name(coding_named(sigmf_name(coding)).value()), name(formats[i]));
    }
    for (const auto& [given, wanted] : {std::pair("sc16", "cs16"),
                                        {"CFILE", "cf32"},
                                        {"fc32", "cf32"},
                                        {"CS8", "cs8"},
                                        {"ci16_be", "cs16be"},
                                        {"ri8", "s8"},
                                        {"cu8_be", "cu8"},
                                        {"ru32_be", "u32be"},
                                        {"s24be", "s24be"}})
        EXPECT_EQ(name(coding_named(given).value()), wanted);
    for (const char* bad : {"cs12", "", "ci8_xe", "cu8be", "cwav8", "iq", "s24_le"})
        EXPECT_FALSE(coding_named(bad).has_value()) << bad;
}

// The bytes of 0x40, 0x4000, ...: a half, in both orders, through every integer coding.
TEST(WaterfallFormat, Conversions)
{
    struct Case {
        const char* name;
        std::vector<unsigned char> bytes; // of the lowest, middle and highest numbers
        std::array<double, 3> values;
    };
    const double last32 = 2147483647.0 / 2147483648.0;
    const Case cases[] = {
        {"u16", {0, 0, 0, 0x80, 0xff, 0xff}, {-1, 1.0 / 65535, 1}},
        {"u16be", {0, 0, 0x80, 0, 0xff, 0xff}, {-1, 1.0 / 65535, 1}},
        {"s24", {0, 0, 0x80, 1, 0, 0, 0, 0, 0x40}, {-1, 1.0 / 8388608, 0.5}},
        {"s24be", {0x80, 0, 0, 0, 0, 1, 0x40, 0, 0}, {-1, 1.0 / 8388608, 0.5}},
        {"u32", {0, 0, 0, 0, 0, 0, 0, 0x80, 0xff, 0xff, 0xff, 0xff}, {-1, 1.0 / 4294967295.0, 1}},
        {"s32",
         {0, 0, 0, 0x80, 1, 0, 0, 0, 0xff, 0xff, 0xff, 0x7f},
         {-1, 1.0 / 2147483648.0, last32}},
        {"s32be",
         {0x80, 0, 0, 0, 0, 0, 0, 1, 0x7f, 0xff, 0xff, 0xff},
         {-1, 1.0 / 2147483648.0, last32}},
    };
    for (const Case& c : cases) {
        const Coding coding = coding_named(c.name).value();
        const bool doubles = format_of(coding) == Format::f64;
        std::array<double, 3> block{};
        convert(coding, c.bytes.data(), 3, block.data());
        for (std::size_t i = 0; i != 3; ++i)
            EXPECT_EQ(doubles ? block[i]
                              : static_cast<double>(reinterpret_cast<float*>(block.data())[i]),
                      doubles ? c.values[i] : static_cast<double>(static_cast<float>(c.values[i])))
                << c.name << " " << i;
    }
    const unsigned char big[] = {0x12, 0x34, 0xff, 0xfe};
    std::array<std::int16_t, 2> s16{};
    convert(coding_named("cs16be").value(), big, 1, s16.data());
    EXPECT_EQ(s16[0], 0x1234);
    EXPECT_EQ(s16[1], -2);
    const unsigned char one[] = {0x3f, 0xf0, 0, 0, 0, 0, 0, 0};
    double f64 = 0;
    convert(coding_named("f64be").value(), one, 1, &f64);
    EXPECT_EQ(f64, 1.0);
}

TEST(WaterfallRaw, EveryFormatByExtensionAndInEveryBlockSize)
{
    const Folder folder;
    for (const Format f : formats) {
        const Bytes bytes = pattern(bytes_per_sample(f) * 1001);
        const std::string file = folder.write(std::string("x.") + name(f), bytes);
        for (const std::size_t most : {1U, 7U, 1000U, 1001U, 1002U, 5000U}) {
            const auto source = open(file, {}, 2e6, 1e8);
            EXPECT_EQ(source->recording().format, f);
            EXPECT_EQ(source->recording().samples, 1001U);
            EXPECT_EQ(source->recording().name, "x");
            EXPECT_EQ(source->recording().kind, "raw");
            EXPECT_EQ(source->recording().rate, 2e6);
            EXPECT_EQ(source->recording().center, 1e8);
            EXPECT_EQ(read_all(*source, most), bytes) << name(f) << " " << most;
        }
    }
}

TEST(WaterfallRaw, FormatOverridesTheExtension)
{
    const Folder folder;
    const std::string file = folder.write("x.cu8", pattern(64));
    EXPECT_EQ(open(file)->recording().format, Format::cu8);
    EXPECT_EQ(open(file, "cs16")->recording().format, Format::cs16);
    EXPECT_EQ(open(file, "ci16_le")->recording().samples, 16U);
    EXPECT_EQ(open(folder.write("bytes.bin", pattern(64)), "cf64")->recording().samples, 4U);
}

TEST(WaterfallRaw, WhatIsAssumedIsSaid)
{
    const Folder folder;
    const std::string file = folder.write("x.cs16", pattern(64));
    EXPECT_EQ(open(file)->recording().assumed,
              (std::vector<std::string>{"format cs16: the file's name",
                                        "rate 1 S/s: nothing says it (--rate)",
                                        "centre 0 Hz: nothing says it (--center)"}));
    EXPECT_EQ(open(file)->recording().rate, 1.0);
    EXPECT_TRUE(open(file, "cs16", 5.0, 0.0)->recording().assumed.empty());
}

TEST(WaterfallRaw, PartOfASample)
{
    const Folder folder;
    for (const Format f : formats)
        for (std::size_t extra = 1; extra != bytes_per_sample(f); ++extra) {
            const std::size_t size = 100 * bytes_per_sample(f) + extra;
            const std::string file = folder.write(std::string("x.") + name(f), pattern(size));
            EXPECT_SAYS(warning(file), file,
                        "its " + std::to_string(size) + " bytes are not whole " + name(f));
            EXPECT_EQ(open(file)->recording().samples, 100U);
            EXPECT_EQ(read_all(*open(file), 30).size(), 100 * bytes_per_sample(f));
        }
}

TEST(WaterfallRaw, WhatCannotBeRead)
{
    const Folder folder;
    const std::string missing = folder.at("missing.cu8");
    EXPECT_SAYS(failure(missing), missing, "No such file");
    const std::string empty = folder.write("empty.cf32", {});
    EXPECT_SAYS(failure(empty), empty, "is empty");
    fs::create_directory(folder.at("folder.cs8"));
    EXPECT_SAYS(failure(folder.at("folder.cs8")), folder.at("folder.cs8"), "is a folder");
    const std::string less = folder.write("less.cf32", pattern(7));
    EXPECT_SAYS(failure(less), less, "its 7 bytes hold no whole cf32 sample");
    const std::string unknown = folder.write("x.dat", pattern(64));
    EXPECT_SAYS(failure(unknown), unknown, "unknown format");
    EXPECT_SAYS(failure(unknown, "cs12"), std::string("--format"), "unknown format 'cs12'");
    EXPECT_SAYS(failure("/dev/null"), std::string("/dev/null"), "is empty");
    EXPECT_SAYS(failure("/dev/null", "cu8"), std::string("/dev/null"), "is empty");
    EXPECT_SAYS(failure(folder.write("x.sigmf", pattern(64))), folder.at("x.sigmf"),
                "unknown format");
}

TEST(WaterfallRaw, RateAndCentreMustBeNumbersThatMakeSense)
{
    const Folder folder;
    const std::string file = folder.write("x.cu8", pattern(64));
    for (const double rate : {0.0, -1.0, std::nan(""), HUGE_VAL})
        EXPECT_SAYS(failure(file, {}, rate), std::string("--rate"), "not a positive number");
    EXPECT_SAYS(failure(file, {}, {}, HUGE_VAL), std::string("--center"), "not a finite number");
    EXPECT_EQ(open(file, {}, {}, -5.0)->recording().center, -5.0);
    for (const auto& [rate, center] :
         {std::pair(1e-300, 0.0), {1e300, 0.0}, {1.0, 1e15}, {1e6, -1e300}})
        EXPECT_SAYS(failure(file, {}, rate, center), file, " to show");
    EXPECT_TRUE(contains(failure("", "cu8"), "--format, --rate and --center need an input"));
}

TEST(WaterfallRaw, ShortenedWhileItIsRead)
{
    const Folder folder;
    const std::string file = folder.write("x.cs16", pattern(4000));
    const auto source = open(file);
    Bytes block(400);
    EXPECT_EQ(source->read(block.data(), 100), 100U);
    fs::resize_file(file, 802);
    EXPECT_EQ(source->read(block.data(), 100), 100U);
    EXPECT_EQ(source->read(block.data(), 100), 0U);
    EXPECT_SAYS(source->recording().warnings->lines().at(0), file,
                "ended after 200 of 1000 samples");
}

TEST(WaterfallRaw, GrownWhileItIsRead)
{
    const Folder folder;
    const Bytes bytes = pattern(4000);
    const std::string file = folder.write("x.cs16", bytes);
    const auto source = open(file);
    std::ofstream(file, std::ios::app | std::ios::binary) << "three more samples";
    EXPECT_EQ(read_all(*source, 300), bytes);
}

// A sample that is no number is found wherever it stands, and named by its own count.
TEST(WaterfallRaw, NotFinite)
{
    const Folder folder;
    for (const float bad : {std::nanf(""), HUGE_VALF, -HUGE_VALF})
        for (const std::size_t at : {0U, 1U, 1999U, 2000U, 2001U, 4999U}) {
            std::vector<float> values(5000, 0.5F);
            values[at] = bad;
            const auto* bytes = reinterpret_cast<const char*>(values.data());
            const std::string file = folder.write("x.cf32", {bytes, 20000});
            EXPECT_SAYS(warning(file), file,
                        "sample " + std::to_string(at / 2) +
                            " is not a finite number; 1 such value");
            EXPECT_SAYS(warning(file, "f32"), file,
                        "sample " + std::to_string(at) + " is not a finite");
            const Bytes read = read_all(*open(file), 700);
            values[at] = 0.0F;
            EXPECT_EQ(std::memcmp(read.data(), values.data(), 20000), 0);
        }
    const std::array<double, 4> doubles{1, 2, 3, std::nan("")};
    const auto* bytes = reinterpret_cast<const char*>(doubles.data());
    const std::string file = folder.write("x.cf64", {bytes, 32});
    EXPECT_SAYS(warning(file), file, "sample 1 is not a finite number");
}

TEST(WaterfallRaw, Pipe)
{
    const Folder folder;
    const std::string fifo = folder.at("pipe.cs16");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::size_t size : {4000U, 4001U, 0U}) {
        const Bytes bytes = pattern(size);
        std::jthread writer([&] {
            std::ofstream(fifo, std::ios::binary)
                .write(bytes.data(), static_cast<std::streamsize>(size));
        });
        const auto source = open(fifo);
        EXPECT_EQ(source->recording().samples, std::nullopt);
        if (size == 0) {
            EXPECT_THROW(read_all(*source, 64), Error);
            continue;
        }
        const Bytes read = read_all(*source, 64);
        EXPECT_EQ(read, Bytes(bytes.begin(), bytes.begin() + 4000));
        EXPECT_EQ(source->recording().warnings->lines().size(), size - 4000);
    }
}

// --- a part ---------------------------------------------------------------------------------------

TEST(WaterfallPart, TimesAsPeopleWriteThem)
{
    const auto at = [](const char* text) { return parse_span(text).value().at(1000.0); };
    EXPECT_EQ(at("90"), 90000U);
    EXPECT_EQ(at("90s"), 90000U);
    EXPECT_EQ(at("12m"), 720000U);
    EXPECT_EQ(at("12min"), 720000U);
    EXPECT_EQ(at("1.5h"), 5400000U);
    EXPECT_EQ(at("250ms"), 250U);
    EXPECT_EQ(at("1:02"), 62000U);
    EXPECT_EQ(at("1:02:03.5"), 3723500U);
    EXPECT_EQ(at("0:00:00.0004"), 0U);
    EXPECT_EQ(at("4000S"), 4000U);
    EXPECT_EQ(at("4kS"), 4000U);
    EXPECT_EQ(at("0"), 0U);
    for (const char* bad :
         {"", "-1", "-1S", "1:2:3:4", "1:", ":1", "1:-2", "x", "1.5S", "s", "inf", "1e400"})
        EXPECT_FALSE(parse_span(bad).has_value()) << bad;
    EXPECT_THROW(static_cast<void>(parse_span("1e300")->at(1e6)), Error);
}

// From every start, for every length, at once and in pieces: the samples of the file cut beforehand.
TEST(WaterfallPart, SamplesOfTheCutFile)
{
    const Folder folder;
    for (const char* name : {"x.cu8", "x.cs16be", "x.s24", "x.cf64"}) {
        const std::size_t size =
            bytes_per_sample(coding_named(std::string(name).substr(2)).value());
        const Bytes bytes = pattern(size * 1001);
        for (const std::uint64_t start : {0U, 1U, 500U, 1000U})
            for (const std::uint64_t length : {1U, 77U, 501U, 2000U}) {
                Request whole;
                whole.input = folder.write(name, bytes);
                whole.start = Span{0, start};
                whole.duration = Span{0, length};
                const auto source = open_source(whole);
                const std::size_t there = std::min<std::size_t>(length, 1001 - start);
                EXPECT_EQ(source->recording().samples, there);
                const Bytes part = read_all(*source, 100);
                const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(start * size);
                const std::string cut =
                    folder.write(std::string("cut-") + name,
                                 Bytes(first, first + static_cast<std::ptrdiff_t>(there * size)));
                EXPECT_EQ(part, read_all(*open(cut), 333)) << name << start << length;
                EXPECT_EQ(source->recording().warnings->lines().size(), length > there ? 1U : 0U);
            }
    }
    Request request;
    request.input = folder.at("x.cu8");
    request.start = Span{0, 1001};
    EXPECT_SAYS(failure(request), request.input, "--start: sample 1001 is beyond its 1001 samples");
}

// A start far into a hole of a terabyte: only a seek arrives there in time.
TEST(WaterfallPart, SeeksInFiles)
{
    const Folder folder;
    const std::string file = folder.write("x.cs16", {});
    fs::resize_file(file, std::uintmax_t{1} << 40U);
    std::ofstream(file, std::ios::app | std::ios::binary) << "last";
    Request request;
    request.input = file;
    request.start = Span{0, std::uint64_t{1} << 38U};
    EXPECT_EQ(read_all(*open_source(request), 10), (Bytes{'l', 'a', 's', 't'}));
}

TEST(WaterfallPart, OfAPipe)
{
    const Folder folder;
    const std::string fifo = folder.at("pipe.cs16");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const Bytes bytes = pattern(400000);
    std::signal(SIGPIPE, SIG_IGN); // the reader has its part before the writer's end
    for (const std::uint64_t start : {70000U, 100000U}) {
        std::jthread writer(
            [&] { std::ofstream(fifo, std::ios::binary).write(bytes.data(), 400000); });
        Request request;
        request.input = fifo;
        request.start = Span{0, start};
        request.duration = Span{0, 20000};
        if (start == 100000) {
            EXPECT_THROW(read_all(*open_source(request), 64), Error);
            continue;
        }
        EXPECT_EQ(read_all(*open_source(request), 999),
                  Bytes(bytes.begin() + 280000, bytes.begin() + 360000));
    }
}

// --- names ----------------------------------------------------------------------------------------

TEST(WaterfallNames, WhatReceiversWrite)
{
    struct Case {
        const char* name;
        std::optional<double> center, rate;
        const char* time;
    };
    const Case cases[] = {
        {"HDR_20260102_030405Z_7100kHz_RF.wav", 7.1e6, {}, "2026-01-02 03:04:05"},
        {"Sharp_20260102_030405Z_100000000Hz_IQ.wav", 1e8, {}, "2026-01-02 03:04:05"},
        {"rx_20260102_030405_433920000_1800000_fc.raw", 433.92e6, 1.8e6, "2026-01-02 03:04:05"},
        {"g001_433.92M_250k.cu8", 433.92e6, 250e3, ""},
        {"band-2.4GHz-20Msps.cs16", 2.4e9, 20e6, ""},
        {"baseband_868000000Hz_12-34-56_02-01-2026.wav", 868e6, {}, ""},
        {"capture_1_2_3.cu8", {}, {}, ""},
        {"20261399_999999_x.cu8", {}, {}, ""},
        {"1e999MHz_x5kHz_..Hz_Hz.cu8", {}, {}, ""},
    };
    for (const Case& c : cases) {
        const Hint hint = hint_of(std::string("some/folder_99MHz/") + c.name);
        EXPECT_EQ(hint.center, c.center) << c.name;
        EXPECT_EQ(hint.rate, c.rate) << c.name;
        EXPECT_EQ(hint.time ? date_text(*hint.time) + " " + clock_text(*hint.time, 0) : "", c.time);
    }
    EXPECT_EQ(name(coding_by_name("rx_20260102_030405_433920000_1800000_fc.raw").value()), "cf32");
    EXPECT_EQ(name(coding_by_name("A.SC16").value()), "cs16");
    EXPECT_FALSE(coding_by_name("a.raw").has_value());

    const Folder folder;
    const std::string file = folder.write("g_433.92M_250k.cu8", pattern(64));
    EXPECT_EQ(
        open(file)->recording().assumed,
        (std::vector<std::string>{"format cu8: the file's name", "rate 250 kS/s: the file's name",
                                  "centre 433.92 MHz: the file's name"}));
    EXPECT_EQ(open(file, "cs8", 1e6, 433e6)->recording().assumed,
              (std::vector<std::string>{"rate 1 MS/s: the file's name says 250 kS/s",
                                        "centre 433 MHz: the file's name says 433.92 MHz"}));
}

TEST(WaterfallNames, FormatsByTheLookOfTheBytes)
{
    const Folder folder;
    std::vector<std::int16_t> s16;
    std::vector<float> f32;
    std::string s8, u8;
    for (int i = 0; i != 3000; ++i) {
        const double value = 0.3 * std::sin(i * 0.7) + 0.1 * std::sin(i * 12.9);
        s16.push_back(static_cast<std::int16_t>(value * 32767));
        f32.push_back(static_cast<float>(value));
        s8.push_back(static_cast<char>(std::lround(value * 127)));
        u8.push_back(static_cast<char>(std::lround(value * 127 + 127.5)));
    }
    const auto look = [](const auto& values) {
        return name(coding_by_look(
            {reinterpret_cast<const char*>(values.data()), values.size() * sizeof values[0]}));
    };
    EXPECT_EQ(look(s16), "cs16");
    EXPECT_EQ(look(f32), "cf32");
    EXPECT_EQ(look(s8), "cs8");
    EXPECT_EQ(look(u8), "cu8");
    for (const char* file : {"x.iq", "x.RAW", "x.bin"})
        EXPECT_EQ(open(folder.write_text(file, u8))->recording().assumed.at(0),
                  "format cu8: the look of the bytes");
}

TEST(WaterfallUnits, ClockTimes)
{
    const std::int64_t time = parse_datetime("2026-11-22T09:37:40.25Z").value();
    EXPECT_EQ(date_text(time), "2026-11-22");
    EXPECT_EQ(clock_text(time, 3), "09:37:40.250");
    EXPECT_EQ(parse_datetime("1970-01-01T00:00:01"), 1'000'000'000);
    EXPECT_EQ(clock_text(-1'000'000'000, 0), "23:59:59");
    for (const char* bad :
         {"", "2026-11-22", "2026-13-01T00:00:00Z", "2026-02-30T00:00:00Z", "2026-01-01T24:00:00Z",
          "2026-01-01T00:00:00+02:00", "2026-01-01T00:00:xxZ", "9999-01-01T00:00:00Z",
          "2026-01-01T00:00:nanZ"})
        EXPECT_EQ(parse_datetime(bad), std::nullopt) << bad;
}

} // namespace

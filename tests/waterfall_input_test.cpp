// Raw samples from files and pipes: what was put in comes out, whatever the block size, and what is
// wrong is said in one line.
#include "waterfall/units.h"
#include "waterfall_files.h"

#include <cmath>
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
    const std::array<std::size_t, 8> bytes{2, 2, 4, 8, 16, 2, 4, 8};
    for (std::size_t i = 0; i != formats.size(); ++i) {
        EXPECT_EQ(bytes_per_sample(formats[i]), bytes[i]);
        EXPECT_EQ(is_complex(formats[i]), i < 5);
        EXPECT_EQ(format_named(name(formats[i])), formats[i]);
        EXPECT_EQ(format_named(sigmf_name(formats[i])), formats[i]);
    }
    EXPECT_EQ(format_named("cs24"), std::nullopt);
    EXPECT_EQ(format_named(""), std::nullopt);
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
              (std::vector<std::string>{"format cs16: the file's extension",
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
            EXPECT_SAYS(failure(file), file,
                        "its " + std::to_string(size) + " bytes are not whole " + name(f));
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
    const std::string unknown = folder.write("x.dat", pattern(64));
    EXPECT_SAYS(failure(unknown), unknown, "unknown format");
    EXPECT_SAYS(failure(unknown, "cs12"), std::string("--format"), "unknown format 'cs12'");
    EXPECT_SAYS(failure("/dev/null"), std::string("/dev/null"), "is no plain file");
    EXPECT_SAYS(failure("/dev/null", "cu8"), std::string("/dev/null"), "is empty");
    EXPECT_SAYS(failure(folder.write("x.sigmf", pattern(64))), folder.at("x.sigmf"), "archive");
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
    try {
        source->read(block.data(), 100);
        FAIL() << "no error";
    } catch (const Error& error) {
        EXPECT_SAYS(error.what(), file, "ended after 200 of 1000 samples");
    }
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
            EXPECT_SAYS(failure(file), file,
                        "sample " + std::to_string(at / 2) + " is not a finite");
            EXPECT_SAYS(failure(file, "f32"), file,
                        "sample " + std::to_string(at) + " is not a finite");
        }
    const std::array<double, 4> doubles{1, 2, 3, std::nan("")};
    const auto* bytes = reinterpret_cast<const char*>(doubles.data());
    const std::string file = folder.write("x.cf64", {bytes, 32});
    EXPECT_SAYS(failure(file), file, "sample 1 is not a finite number");
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
        if (size == 4000)
            EXPECT_EQ(read_all(*source, 64), bytes);
        else
            EXPECT_THROW(read_all(*source, 64), Error) << size;
    }
}

} // namespace

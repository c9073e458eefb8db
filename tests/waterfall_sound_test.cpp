// WAV and what else libsndfile opens: codings become formats, truncation is noticed.
#include "waterfall/units.h"
#include "waterfall_files.h"

#include <cstring>
#include <sndfile.h>
#include <sys/stat.h>
#include <thread>

using namespace waterfall;

namespace {

// 500 frames written by libsndfile; parts are multiples of 1/128, exact in every coding.
std::string write_sound(const Folder& folder, const std::string& name, int format, int channels)
{
    SF_INFO info = {};
    info.samplerate = 48000;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(folder.at(name).c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<double> values(500U * static_cast<unsigned>(channels));
    for (std::size_t i = 0; i != values.size(); ++i)
        values[i] = static_cast<double>(i * 29 % 255) / 128.0 - 127.0 / 128.0;
    EXPECT_EQ(sf_writef_double(file, values.data(), 500), 500);
    EXPECT_EQ(sf_close(file), 0);
    return folder.at(name);
}

template <typename T>
void expect_values(const Bytes& bytes, double scale)
{
    const auto* values = reinterpret_cast<const T*>(bytes.data());
    for (std::size_t i = 0; i != bytes.size() / sizeof(T); ++i) {
        const double wanted = static_cast<double>(i * 29 % 255) / 128.0 - 127.0 / 128.0;
        // writers of integers scale by one less than the full range
        ASSERT_NEAR(static_cast<double>(values[i]) / scale, wanted, 0.009) << i;
    }
}

TEST(WaterfallSound, Codings)
{
    struct Case {
        int coding;
        Format iq, real;
    };
    constexpr Case cases[] = {
        {SF_FORMAT_PCM_U8, Format::cs16, Format::s16},
        {SF_FORMAT_PCM_16, Format::cs16, Format::s16},
        {SF_FORMAT_PCM_24, Format::cf32, Format::f32},
        {SF_FORMAT_FLOAT, Format::cf32, Format::f32},
        {SF_FORMAT_PCM_32, Format::cf64, Format::f64},
        {SF_FORMAT_DOUBLE, Format::cf64, Format::f64},
    };
    const Folder folder;
    for (const Case& c : cases)
        for (const int channels : {1, 2}) {
            const std::string file =
                write_sound(folder, "x.wav", SF_FORMAT_WAV | c.coding, channels);
            const auto source = open(file);
            const Recording& r = source->recording();
            EXPECT_EQ(r.format, channels == 2 ? c.iq : c.real);
            EXPECT_EQ(r.samples, 500U);
            EXPECT_EQ(r.rate, 48000.0);
            EXPECT_TRUE(contains(r.kind, "WAV")) << r.kind;
            EXPECT_EQ(r.assumed.size(), static_cast<std::size_t>(channels));
            const Bytes bytes = read_all(*source, 77);
            ASSERT_EQ(bytes.size(), 500 * bytes_per_sample(r.format));
            if (r.format == Format::cs16 || r.format == Format::s16)
                expect_values<std::int16_t>(bytes, 32768.0);
            else if (r.format == Format::cf32 || r.format == Format::f32)
                expect_values<float>(bytes, 1.0);
            else
                expect_values<double>(bytes, 1.0);
        }
}

TEST(WaterfallSound, OtherFilesOfLibsndfile)
{
    const Folder folder;
    const auto flac = open(write_sound(folder, "x.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2));
    EXPECT_EQ(flac->recording().format, Format::cs16);
    expect_values<std::int16_t>(read_all(*flac, 100), 32768.0);
    const auto rf64 = open(write_sound(folder, "x.rf64", SF_FORMAT_RF64 | SF_FORMAT_FLOAT, 1));
    expect_values<float>(read_all(*rf64, 100), 1.0);
}

TEST(WaterfallSound, ExactSixteenBits)
{
    const Folder folder;
    std::vector<short> values;
    for (int v = -32768; v < 32768; v += 3)
        values.push_back(static_cast<short>(v));
    values.resize(values.size() & ~std::size_t{1});
    SF_INFO info = {};
    info.samplerate = 1000000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(folder.at("x.wav").c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    const auto frames = static_cast<sf_count_t>(values.size() / 2);
    ASSERT_EQ(sf_writef_short(file, values.data(), frames), frames);
    sf_close(file);
    const auto source = open(folder.at("x.wav"), {}, {}, 7e6);
    const Bytes bytes = read_all(*source, 1000);
    ASSERT_EQ(bytes.size(), values.size() * 2);
    EXPECT_EQ(std::memcmp(bytes.data(), values.data(), bytes.size()), 0);
    EXPECT_EQ(source->recording().center, 7e6);
}

// --- what is missing ------------------------------------------------------------------------------

constexpr int containers[] = {SF_FORMAT_WAV, SF_FORMAT_RF64, SF_FORMAT_W64, SF_FORMAT_AIFF,
                              SF_FORMAT_AU};

// libsndfile writes, the header is read here: every container with every plain coding.
TEST(WaterfallSound, PlainContainers)
{
    const Folder folder;
    for (const int container : containers)
        for (const int coding :
             {SF_FORMAT_PCM_S8, SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
              SF_FORMAT_PCM_32, SF_FORMAT_FLOAT, SF_FORMAT_DOUBLE}) {
            SF_INFO info = {0, 48000, 2, container | coding, 0, 0};
            if (sf_format_check(&info) == 0)
                continue;
            const std::string file = write_sound(folder, "x", container | coding, 2);
            const auto source = open(file);
            EXPECT_EQ(source->recording().rate, 48000.0);
            EXPECT_EQ(source->recording().samples, 500U);
            const Bytes bytes = read_all(*source, 77);
            EXPECT_TRUE(source->recording().warnings->lines().empty())
                << container << " " << coding;
            switch (source->recording().format) {
            case Format::cs8:
                expect_values<std::int8_t>(bytes, 128.0);
                break;
            case Format::cs16:
                expect_values<std::int16_t>(bytes, 32768.0);
                break;
            case Format::cf32:
                expect_values<float>(bytes, 1.0);
                break;
            default:
                expect_values<double>(bytes, 1.0);
            }
        }
}

// One rule for all: what is there is read, what is missing is said.
TEST(WaterfallSound, Truncated)
{
    const Folder folder;
    for (const int container : containers) {
        const std::string cut = write_sound(folder, "cut", container | SF_FORMAT_PCM_16, 2);
        const Bytes whole = read_all(*open(cut), 500);
        const auto size = fs::file_size(cut);
        fs::resize_file(cut, size - 401);
        EXPECT_SAYS(warning(cut), cut,
                    "truncated: its header announces 2000 bytes of samples, 1599");
        const auto source = open(cut);
        EXPECT_EQ(source->recording().samples, 399U) << container;
        EXPECT_EQ(read_all(*source, 100), Bytes(whole.begin(), whole.begin() + 1596)) << container;
    }
    const std::string flac = write_sound(folder, "cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2);
    fs::resize_file(flac, fs::file_size(flac) / 2);
    EXPECT_NE(warning(flac), "no warning");
}

Bytes content(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void put(Bytes& bytes, std::size_t at, std::uint32_t value)
{
    std::memcpy(bytes.data() + at, &value, 4);
}

// Programs that write into a pipe cannot go back to put the size in.
TEST(WaterfallSound, SizesFromPipes)
{
    const Folder folder;
    const std::string file = write_sound(folder, "x.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    Bytes bytes = content(file);
    const Bytes whole = read_all(*open(file), 500);
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t data = text.find("data");
    for (const std::uint32_t size : {0U, 0x7ffff000U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        put(bytes, data + 4, size);
        put(bytes, 4, size);
        folder.write("x.wav", bytes);
        EXPECT_EQ(warning(file), "no warning") << size;
        EXPECT_EQ(read_all(*open(file), 100), whole) << size;
    }
    put(bytes, data + 4, 1999);
    folder.write("x.wav", bytes);
    EXPECT_SAYS(warning(file), file, "its 1999 bytes are not whole cs16 samples of 4 bytes");
    put(bytes, data + 4, 2004);
    folder.write("x.wav", bytes);
    EXPECT_SAYS(warning(file), file, "announces 2004 bytes of samples, 2000 are there");
}

TEST(WaterfallSound, WhatReceiversAdd)
{
    const Folder folder;
    const std::string file =
        write_sound(folder, "x_7050kHz.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    Bytes bytes = content(file);
    Bytes auxi(8 + 164);
    std::memcpy(auxi.data(), "auxi", 4);
    put(auxi, 4, 164);
    const std::uint16_t time[] = {2026, 11, 0, 22, 9, 37, 40, 250};
    std::memcpy(auxi.data() + 8, time, sizeof time);
    put(auxi, 8 + 32, 7100000);
    const std::string text(bytes.begin(), bytes.end());
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(text.find("data")), auxi.begin(),
                 auxi.end());
    folder.write("x_7050kHz.wav", bytes);
    const auto source = open(file);
    const Recording& r = source->recording();
    EXPECT_EQ(r.center, 7.1e6);
    EXPECT_EQ(clock_text(r.time.value(), 2), "09:37:40.25");
    EXPECT_EQ(r.assumed,
              (std::vector<std::string>{"the first channel is I, the second Q",
                                        "centre 7.1 MHz: the header's auxi chunk",
                                        "centre 7.1 MHz: the file's name says 7.05 MHz"}));
    EXPECT_EQ(read_all(*source, 99).size(), 2000U);
}

TEST(WaterfallSound, Channels)
{
    const Folder folder;
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16})
        for (const int channels : {3, 4, 6}) {
            const std::string file = write_sound(folder, "x", format, channels);
            const bool iq = channels % 2 == 0;
            const std::size_t parts = iq ? 2 : 1;
            for (std::size_t channel = 1; channel <= static_cast<std::size_t>(channels) / parts;
                 ++channel) {
                Request request;
                request.input = file;
                request.channel = channel;
                const auto source = open_source(request);
                EXPECT_EQ(source->recording().format, iq ? Format::cs16 : Format::s16);
                const Bytes bytes = read_all(*source, 77);
                ASSERT_EQ(bytes.size(), 1000 * parts);
                const auto* values = reinterpret_cast<const std::int16_t*>(bytes.data());
                for (std::size_t i = 0; i != 500 * parts; ++i) {
                    const std::size_t at = i / parts * static_cast<std::size_t>(channels) +
                                           (channel - 1) * parts + i % parts;
                    ASSERT_NEAR(values[i] / 32768.0,
                                static_cast<double>(at * 29 % 255) / 128.0 - 127.0 / 128.0, 0.009);
                }
            }
        }
}

TEST(WaterfallSound, PartsBySeeking)
{
    const Folder folder;
    for (const int format : {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_AU | SF_FORMAT_PCM_24}) {
        Request request;
        request.input = write_sound(folder, "x", format, 2);
        const Bytes whole = read_all(*open(request.input), 500);
        request.start = Span{0, 123};
        request.duration = Span{0, 200};
        const auto frame = static_cast<std::ptrdiff_t>(whole.size() / 500);
        EXPECT_EQ(read_all(*open_source(request), 77),
                  Bytes(whole.begin() + 123 * frame, whole.begin() + 323 * frame));
    }
}

// What is read through a pipe is what is read from the file, be it sought in or not.
TEST(WaterfallSound, Pipes)
{
    const Folder folder;
    const std::string fifo = folder.at("pipe");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_RF64 | SF_FORMAT_FLOAT,
                             SF_FORMAT_W64 | SF_FORMAT_PCM_24, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
                             SF_FORMAT_AU | SF_FORMAT_PCM_32, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
                             SF_FORMAT_WAV | SF_FORMAT_ULAW}) {
        const std::string file = write_sound(folder, "x", format, 2);
        const Bytes bytes = content(file);
        std::jthread writer([&] {
            std::ofstream(fifo, std::ios::binary)
                .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        });
        const auto piped = open(fifo);
        EXPECT_EQ(read_all(*piped, 77), read_all(*open(file), 500)) << format;
        EXPECT_EQ(piped->recording().rate, 48000.0);
        EXPECT_TRUE(piped->recording().warnings->lines().empty()) << format;
    }
}

TEST(WaterfallSound, Bad)
{
    const Folder folder;
    const std::string cut = write_sound(folder, "cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    fs::resize_file(cut, 44);
    EXPECT_SAYS(failure(cut), cut, "holds no samples");
    fs::resize_file(cut, 30);
    EXPECT_SAYS(failure(cut), cut, "unknown format");
    const std::string missing = folder.at("none.wav");
    EXPECT_SAYS(failure(missing), missing, "No such file");
    const std::string empty = folder.write("empty.wav", {});
    EXPECT_SAYS(failure(empty), empty, "is empty");
    EXPECT_SAYS(failure(folder.at("")), folder.at(""), "is a folder");
}

} // namespace

// WAV and what else libsndfile opens: codings become formats, truncation is noticed.
#include "waterfall_files.h"

#include <cstring>
#include <sndfile.h>

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

TEST(WaterfallSound, Bad)
{
    const Folder folder;
    const std::string six = write_sound(folder, "six.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 6);
    EXPECT_SAYS(failure(six), six, "has 6 channels");

    const std::string cut = write_sound(folder, "cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    const auto whole = fs::file_size(cut);
    fs::resize_file(cut, whole - 400);
    EXPECT_SAYS(failure(cut), cut, "truncated: its header announces 2000 bytes of samples, 1600");
    fs::resize_file(cut, 30);
    EXPECT_SAYS(failure(cut), cut, "unknown format");

    const std::string flac = write_sound(folder, "cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2);
    fs::resize_file(flac, fs::file_size(flac) / 2);
    EXPECT_NE(failure(flac), "no error");

    const std::string missing = folder.at("none.wav");
    EXPECT_SAYS(failure(missing), missing, "No such file");
    const std::string empty = folder.write("empty.wav", {});
    EXPECT_SAYS(failure(empty), empty, "is empty");
    EXPECT_SAYS(failure(folder.at("")), folder.at(""), "is a folder");
}

// A frame of the header's coding does not divide the announced size.
TEST(WaterfallSound, OddByteCount)
{
    const Folder folder;
    const std::string path = write_sound(folder, "x.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    std::string bytes(fs::file_size(path), '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const std::size_t data = bytes.find("data");
    ASSERT_NE(data, std::string::npos);
    file.seekp(static_cast<std::streamoff>(data + 4));
    const std::uint32_t odd = 1999;
    file.write(reinterpret_cast<const char*>(&odd), 4);
    file.close();
    EXPECT_SAYS(failure(path), path, "its 1999 bytes are not whole samples of 4 bytes");
}

} // namespace

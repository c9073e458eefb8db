// WAV and whatever else libsndfile opens: two channels are I and Q, one is a real signal.
#include "waterfall/source_parts.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <sndfile.h>
#include <utility>

namespace waterfall {
namespace {

class SoundSource : public Source {
public:
    SoundSource(std::string path, SNDFILE* file, Recording recording)
        : path_(std::move(path)), file_(file), recording_(std::move(recording))
    {
    }
    ~SoundSource() override { sf_close(file_); }
    SoundSource(const SoundSource&) = delete;
    SoundSource& operator=(const SoundSource&) = delete;

    const Recording& recording() const override { return recording_; }

    std::size_t read(void* block, std::size_t most) override
    {
        const sf_count_t got = read_frames(block, static_cast<sf_count_t>(most));
        if (got < 0 || sf_error(file_) != SF_ERR_NO_ERROR)
            throw Error(fmt::format("{}: cannot be read: {}", path_, sf_strerror(file_)));
        const auto samples = static_cast<std::size_t>(got);
        check_finite(path_, recording_.format, block, samples, done_);
        done_ += samples;
        if (samples < most && recording_.samples && done_ != *recording_.samples)
            throw Error(fmt::format("{}: ended after {} of {} samples: truncated?", path_, done_,
                                    *recording_.samples));
        return samples;
    }

private:
    sf_count_t read_frames(void* block, sf_count_t most)
    {
        switch (recording_.format) {
        case Format::s16:
        case Format::cs16:
            return sf_readf_short(file_, static_cast<short*>(block), most);
        case Format::f32:
        case Format::cf32:
            return sf_readf_float(file_, static_cast<float*>(block), most);
        default:
            return sf_readf_double(file_, static_cast<double*>(block), most);
        }
    }

    std::string path_;
    SNDFILE* file_;
    Recording recording_;
    std::uint64_t done_ = 0;
};

// The narrowest format that loses nothing; 8-bit samples are exact in 16.
Format format_of(const SF_INFO& info)
{
    const bool iq = info.channels == 2;
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        return iq ? Format::cs16 : Format::s16;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_DOUBLE:
        return iq ? Format::cf64 : Format::f64;
    default:
        return iq ? Format::cf32 : Format::f32;
    }
}

// "WAV (Microsoft), Signed 16 bit PCM"
std::string kind_of(const SF_INFO& info)
{
    SF_FORMAT_INFO type = {info.format & SF_FORMAT_TYPEMASK, nullptr, nullptr};
    SF_FORMAT_INFO coding = {info.format & SF_FORMAT_SUBMASK, nullptr, nullptr};
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &type, sizeof type);
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &coding, sizeof coding);
    return fmt::format("{}, {}", type.name != nullptr ? type.name : "sound",
                       coding.name != nullptr ? coding.name : "unknown coding");
}

std::uint32_t little_endian(const unsigned char* bytes)
{
    return bytes[0] | std::uint32_t{bytes[1]} << 8U | std::uint32_t{bytes[2]} << 16U |
           std::uint32_t{bytes[3]} << 24U;
}

// libsndfile takes what is left of a truncated WAV without a word, so its chunks are walked here.
// Programs that write into a pipe leave 0 or the largest size: what is there counts.
void check_wav(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::array<unsigned char, 12> head = {};
    const auto get = [&](std::size_t n) {
        return bool(
            file.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(n)));
    };
    if (!get(12) || std::memcmp(head.data(), "RIFF", 4) != 0)
        return;
    const std::uintmax_t size = std::filesystem::file_size(path);
    std::uint32_t frame_bytes = 0;
    for (std::uintmax_t at = 12; get(8);) {
        const std::uint32_t bytes = little_endian(head.data() + 4);
        at += 8;
        if (std::memcmp(head.data(), "data", 4) == 0) {
            if (bytes == 0 || bytes == UINT32_MAX)
                return;
            if (bytes > size - at)
                throw Error(
                    fmt::format("{}: truncated: its header announces {} bytes of samples, {} "
                                "are there",
                                path, bytes, size - at));
            if (frame_bytes != 0 && bytes % frame_bytes != 0)
                throw Error(fmt::format("{}: its {} bytes are not whole samples of {} bytes", path,
                                        bytes, frame_bytes));
            return;
        }
        const bool is_format = std::memcmp(head.data(), "fmt ", 4) == 0;
        if (is_format && bytes >= 16) {
            std::array<unsigned char, 16> format = {};
            file.read(reinterpret_cast<char*>(format.data()), 16);
            frame_bytes = little_endian(format.data() + 12) & 0xffffU;
        }
        at += std::uintmax_t{bytes} + (bytes & 1U);
        file.seekg(static_cast<std::streamoff>(at));
    }
}

} // namespace

std::unique_ptr<Source> open_sound(const Request& request)
{
    const std::string& path = request.input;
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (error || !std::filesystem::exists(status))
        throw system_error(path, "cannot be opened", error ? error.value() : ENOENT);
    if (std::filesystem::is_directory(status))
        throw Error(path + ": is a folder");
    if (!std::filesystem::is_regular_file(status))
        throw Error(path + ": is no plain file; --format says what raw samples it gives");
    if (!std::ifstream(path))
        throw system_error(path, "cannot be opened", errno);
    if (std::filesystem::file_size(path) == 0)
        throw Error(path + ": is empty");

    SF_INFO info = {};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        throw Error(fmt::format("{}: unknown format; --format says what raw samples are: {}", path,
                                format_names()));
    Recording recording;
    recording.input = path;
    recording.name = title_of(path);
    recording.kind = kind_of(info);
    recording.format = format_of(info);
    if (info.frames != SF_COUNT_MAX) // what libsndfile says where it cannot know
        recording.samples = static_cast<std::uint64_t>(info.frames);
    if (info.channels == 2)
        recording.assumed.emplace_back("the first channel is I, the second Q");
    settle(recording, request, info.samplerate, std::nullopt);
    auto source = std::make_unique<SoundSource>(path, file, recording);

    if (info.channels > 2)
        throw Error(fmt::format("{}: has {} channels; one is a real signal, two are I and Q", path,
                                info.channels));
    if (info.samplerate <= 0)
        throw Error(
            fmt::format("{}: its rate is {}, not a positive number", path, info.samplerate));
    check_wav(path);
    if (info.frames <= 0)
        throw Error(path + ": holds no samples");
    return source;
}

} // namespace waterfall

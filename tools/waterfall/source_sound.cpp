// Sound: two channels are I and Q. Plain numbers after a header (WAV, RF64, W64, AIFF, AU) are read as they come,
// from a pipe too, and what is missing is said; libsndfile opens the rest.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <sndfile.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace waterfall {
namespace {

// --- headers -------------------------------------------------------------------------------------

struct Header {
    std::string kind;
    Coding coding; // of one channel: not complex
    std::uint64_t channels = 0;
    double rate = 0;
    std::size_t data = 0;              // where the samples begin
    std::optional<std::uint64_t> size; // of the samples, where the header knows
    Hint hint{"the header's auxi chunk", {}, {}, {}};
};

// The start of a file; what is beyond it reads as nothing and is remembered.
class Start {
public:
    explicit Start(const std::string& bytes) : bytes_(bytes) {}

    bool is(std::size_t at, std::string_view text) const
    {
        return at <= bytes_.size() && std::string_view(bytes_).substr(at, text.size()) == text;
    }
    std::uint64_t number(std::size_t at, std::size_t size, bool big)
    {
        if (at > bytes_.size() || size > bytes_.size() - at) {
            beyond_ = true;
            return 0;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i != size; ++i)
            value = value << 8U | static_cast<unsigned char>(bytes_[at + (big ? i : size - 1 - i)]);
        return value;
    }
    bool beyond() const { return beyond_; }

private:
    const std::string& bytes_;
    bool beyond_ = false;
};

// Programs that write into a pipe leave one of these, if need be made whole frames.
bool unknown_size(std::uint64_t size, std::uint64_t frame)
{
    const auto near = [&](std::uint64_t end) { return size <= end && size + frame > end; };
    return size == 0 || near(0x7ffff000) || near(0x7fffffff) || near(0x80000000) ||
           near(0xffffffff);
}

std::optional<Number> integer(std::uint64_t bytes, bool wav)
{
    switch (bytes) {
    case 1:
        return wav ? Number::wav8 : Number::s8;
    case 2:
        return Number::s16;
    case 3:
        return Number::s24;
    case 4:
        return Number::s32;
    default:
        return std::nullopt;
    }
}

std::optional<Number> floating(std::uint64_t bytes)
{
    if (bytes == 4)
        return Number::f32;
    return bytes == 8 ? std::optional(Number::f64) : std::nullopt;
}

// WAV's chunk "fmt ".
bool read_format(Start& start, std::size_t at, std::uint64_t size, bool big, Header& header)
{
    std::uint64_t tag = start.number(at, 2, big);
    header.channels = start.number(at + 2, 2, big);
    header.rate = static_cast<double>(start.number(at + 4, 4, big));
    const std::uint64_t frame = start.number(at + 12, 2, big);
    if (tag == 0xfffe && size >= 26)
        tag = start.number(at + 24, 2, big);
    if (header.channels == 0 || frame % header.channels != 0)
        return false;
    const std::uint64_t bytes = frame / header.channels;
    const std::optional<Number> number = tag == 1   ? integer(bytes, true)
                                         : tag == 3 ? floating(bytes)
                                                    : std::nullopt;
    header.coding = {number.value_or(Number::s16), false, big};
    return number.has_value();
}

// What receivers add: when, and where they were tuned to.
void read_auxi(Start& start, std::size_t at, std::uint64_t size, Header& header)
{
    if (size < 36)
        return;
    const auto word = [&](std::size_t i) { return start.number(at + 2 * i, 2, false); };
    header.hint.time =
        parse_datetime(fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", word(0), word(1),
                                   word(3), word(4), word(5), word(6), word(7)));
    const auto center = static_cast<double>(start.number(at + 32, 4, false));
    if (center > 0.0)
        header.hint.center = center;
}

// RIFF and its kin: chunks of a name and a size. W64's names have 16 bytes, its sizes 8, heads included.
std::optional<Header> read_wav(Start& start)
{
    const bool big = start.is(0, "RIFX");
    const bool long_sizes = start.is(0, "RF64") || start.is(0, "BW64");
    const bool w64 =
        start.is(0, "riff\x2e\x91\xcf\x11\xa5\xd6\x28\xdb\x04\xc1") && start.is(24, "wave");
    const bool wav = (big || long_sizes || start.is(0, "RIFF")) && start.is(8, "WAVE");
    if (!wav && !w64)
        return std::nullopt;
    Header header;
    header.kind = w64 ? "W64" : long_sizes ? "RF64" : "WAV";
    bool known = false;
    std::optional<std::uint64_t> long_size;
    std::size_t at = w64 ? 40 : 12;
    for (int chunk = 0; chunk != 1000 && !start.beyond(); ++chunk) {
        const std::size_t body = at + (w64 ? 24 : 8);
        std::uint64_t size = w64 ? start.number(at + 16, 8, false) : start.number(at + 4, 4, big);
        if (w64)
            size -= std::min<std::uint64_t>(size, 24);
        if (start.beyond())
            return std::nullopt;
        if (start.is(at, "ds64"))
            long_size = start.number(body + 8, 8, false);
        if (start.is(at, "fmt "))
            known = read_format(start, body, size, big, header);
        if (start.is(at, "auxi"))
            read_auxi(start, body, size, header);
        if (start.is(at, "data")) {
            header.data = body;
            const std::uint64_t frame = header.channels * bytes_per_sample(header.coding);
            if (long_sizes && size == 0xffffffff && long_size)
                size = *long_size;
            else if (!w64 && unknown_size(size, frame))
                size = 0;
            if (size != 0)
                header.size = size;
            return known && !start.beyond() ? std::optional(header) : std::nullopt;
        }
        const std::uint64_t even = w64 ? 7 : 1;
        if (size > std::numeric_limits<std::uint32_t>::max())
            return std::nullopt;
        at = body + static_cast<std::size_t>((size + even) & ~even);
    }
    return std::nullopt;
}

// 80 bits: sign and exponent, then 64 bits with their first one.
double extended(Start& start, std::size_t at)
{
    const auto exponent = static_cast<int>(start.number(at, 2, true));
    return std::ldexp(static_cast<double>(start.number(at + 2, 8, true)), exponent - 16383 - 63);
}

std::optional<Header> read_aiff(Start& start)
{
    const bool compressed = start.is(8, "AIFC");
    if (!start.is(0, "FORM") || !(compressed || start.is(8, "AIFF")))
        return std::nullopt;
    Header header;
    header.kind = "AIFF";
    std::optional<Number> number;
    std::size_t at = 12;
    for (int chunk = 0; chunk != 1000; ++chunk) {
        const std::uint64_t size = start.number(at + 4, 4, true);
        if (start.beyond())
            return std::nullopt;
        if (start.is(at, "COMM")) {
            header.channels = start.number(at + 8, 2, true);
            const std::uint64_t bytes = (start.number(at + 14, 2, true) + 7) / 8;
            header.rate = extended(start, at + 16);
            const bool little = compressed && start.is(at + 26, "sowt");
            const bool floats =
                compressed && (start.is(at + 26, "fl32") || start.is(at + 26, "FL32") ||
                               start.is(at + 26, "fl64") || start.is(at + 26, "FL64"));
            if (floats)
                number = floating(start.is(at + 28, "64") ? 8 : 4);
            else if (!compressed || little || start.is(at + 26, "NONE"))
                number = integer(bytes, false);
            header.coding = {number.value_or(Number::s16), false, !little};
        }
        if (start.is(at, "SSND")) {
            const std::uint64_t offset = start.number(at + 8, 4, true);
            if (start.beyond() || !number || header.channels == 0 || offset > 65536)
                return std::nullopt;
            header.data = at + 16 + static_cast<std::size_t>(offset);
            if (size > 8 + offset && !unknown_size(size, 16 + offset))
                header.size = size - 8 - offset;
            return header;
        }
        at += 8 + static_cast<std::size_t>(size + (size & 1U));
    }
    return std::nullopt;
}

std::optional<Header> read_au(Start& start)
{
    if (!start.is(0, ".snd"))
        return std::nullopt;
    Header header;
    header.kind = "AU";
    header.data = static_cast<std::size_t>(start.number(4, 4, true));
    const std::uint64_t size = start.number(8, 4, true);
    const std::uint64_t coding = start.number(12, 4, true);
    header.rate = static_cast<double>(start.number(16, 4, true));
    header.channels = start.number(20, 4, true);
    const std::optional<Number> number = coding >= 2 && coding <= 5   ? integer(coding - 1, false)
                                         : coding == 6 || coding == 7 ? floating(4 * (coding - 5))
                                                                      : std::nullopt;
    if (start.beyond() || !number || header.channels == 0 || header.data < 24 ||
        header.data > 65536)
        return std::nullopt;
    header.coding = {*number, false, true};
    if (size != 0xffffffff)
        header.size = size;
    return header;
}

std::optional<Header> read_header(const std::string& bytes, bool& beyond)
{
    Start start(bytes);
    std::optional<Header> header = read_wav(start);
    if (!header)
        header = read_aiff(start);
    if (!header)
        header = read_au(start);
    beyond = start.beyond();
    return header;
}

// --- what is common ------------------------------------------------------------------------------

// An even number of channels are pairs of I and Q, others are real signals.
struct Channels {
    bool complex;
    std::uint64_t count, chosen;
};

Channels choose(Recording& recording, const Request& request, std::uint64_t channels)
{
    const bool complex = channels % 2 == 0;
    const std::uint64_t count = complex ? channels / 2 : channels;
    if (count > 1024)
        throw Error(
            fmt::format("{}: has {} channels; 1024 can be read", recording.input, channels));
    const std::uint64_t chosen = chosen_channel(recording, request, count);
    if (channels == 2)
        recording.assumed.emplace_back("the first channel is I, the second Q");
    else if (complex)
        recording.assumed.push_back(fmt::format("channels {} and {} of {} are I and Q",
                                                2 * chosen + 1, 2 * chosen + 2, channels));
    return {complex, count, chosen};
}

std::optional<double> checked_rate(const Recording& recording, double rate)
{
    if (rate > 0.0 && std::isfinite(rate))
        return rate;
    recording.warnings->add(
        fmt::format("{}: its rate is {}, not a positive number", recording.input, rate));
    return std::nullopt;
}

// --- the rest, by libsndfile ---------------------------------------------------------------------

// The narrowest format that loses nothing; 8-bit samples are exact in 16.
Format format_of(const SF_INFO& info, bool complex)
{
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        return complex ? Format::cs16 : Format::s16;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_DOUBLE:
        return complex ? Format::cf64 : Format::f64;
    default:
        return complex ? Format::cf32 : Format::f32;
    }
}

// "FLAC (Free Lossless Audio Codec), Signed 16 bit PCM"
std::string kind_of(const SF_INFO& info)
{
    SF_FORMAT_INFO type = {info.format & SF_FORMAT_TYPEMASK, nullptr, nullptr};
    SF_FORMAT_INFO coding = {info.format & SF_FORMAT_SUBMASK, nullptr, nullptr};
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &type, sizeof type);
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &coding, sizeof coding);
    return fmt::format("{}, {}", type.name != nullptr ? type.name : "sound",
                       coding.name != nullptr ? coding.name : "unknown coding");
}

class SoundSource : public WholeSource {
public:
    SoundSource(SNDFILE* file, Recording recording, std::uint64_t channels, Channels chosen)
        : WholeSource({std::move(recording), {}}), file_(file), channels_(channels), chosen_(chosen)
    {
    }
    ~SoundSource() override { sf_close(file_); }
    SoundSource(const SoundSource&) = delete;
    SoundSource& operator=(const SoundSource&) = delete;
    SoundSource(SoundSource&&) = delete;
    SoundSource& operator=(SoundSource&&) = delete;

    std::size_t read(void* block, std::size_t most) override
    {
        switch (recording().format) {
        case Format::s16:
        case Format::cs16:
            return read_frames(static_cast<short*>(block), most, sf_readf_short);
        case Format::f32:
        case Format::cf32:
            return read_frames(static_cast<float*>(block), most, sf_readf_float);
        default:
            return read_frames(static_cast<double*>(block), most, sf_readf_double);
        }
    }

    std::uint64_t skip(std::uint64_t samples) override
    {
        if (samples <= static_cast<std::uint64_t>(std::numeric_limits<sf_count_t>::max()) &&
            sf_seek(file_, static_cast<sf_count_t>(samples), SEEK_CUR) >= 0) {
            at_ += samples;
            return samples;
        }
        return Source::skip(samples);
    }

private:
    template <typename T>
    std::size_t read_frames(T* block, std::size_t most,
                            sf_count_t (*next)(SNDFILE*, T*, sf_count_t))
    {
        const std::size_t parts = chosen_.complex ? 2 : 1;
        std::vector<T> frames;
        T* to = block;
        if (chosen_.count != 1) {
            frames.resize(static_cast<std::size_t>(channels_) * most);
            to = frames.data();
        }
        const sf_count_t got = next(file_, to, static_cast<sf_count_t>(most));
        const auto n = static_cast<std::size_t>(std::max<sf_count_t>(got, 0));
        for (std::size_t i = 0; i != n && chosen_.count != 1; ++i)
            std::copy_n(frames.data() + i * channels_ + parts * chosen_.chosen, parts,
                        block + parts * i);
        at_ += n;
        if (n != most && !ended_)
            end();
        return n;
    }

    void end()
    {
        const Recording& r = recording();
        ended_ = true;
        if (sf_error(file_) != SF_ERR_NO_ERROR)
            r.warnings->add(fmt::format("{}: cannot be read after sample {}: {}", r.input, at_,
                                        sf_strerror(file_)));
        else if (r.samples && at_ < *r.samples)
            r.warnings->add(fmt::format("{}: ended after {} of {} samples: truncated?", r.input,
                                        at_, *r.samples));
    }

    SNDFILE* file_;
    std::uint64_t channels_;
    Channels chosen_;
    std::uint64_t at_ = 0;
    bool ended_ = false;
};

} // namespace

bool looks_like_sound(const std::string& start)
{
    constexpr std::array marks{"RIFF", "RIFX", "RF64", "BW64", "riff", "FORM", ".snd", "dns.",
                               "fLaC", "OggS", "caff", "ID3",  "NIST", "Crea", "PVF1", "\xff\xfb"};
    return std::any_of(marks.begin(), marks.end(),
                       [&](const char* mark) { return start.starts_with(mark); });
}

Opened open_plain_sound(std::unique_ptr<ByteStream>& bytes, const Request& request)
{
    std::optional<Header> header;
    bool beyond = true;
    for (std::size_t size = 4096; beyond && !header && size <= 1U << 20U; size *= 16)
        header = read_header(bytes->peek(size), beyond);
    if (!header)
        return nullptr;
    Recording recording = named(request.input, header->kind.c_str(), request);
    const Channels chosen = choose(recording, request, header->channels);
    settle(recording, request, checked_rate(recording, header->rate), std::nullopt,
           {header->hint, hint_of(request.input)});
    Layout layout;
    layout.coding = header->coding;
    layout.coding.complex = chosen.complex;
    layout.channels = chosen.count;
    layout.channel = chosen.chosen;
    layout.announced = header->size;
    if (bytes->skip(header->data) != header->data || bytes->left() == 0U)
        throw Error(recording.input + ": holds no samples");
    return open_samples(std::move(bytes), {std::move(recording), {}}, std::move(layout));
}

Opened open_other_sound(int file, const Request& request)
{
    SF_INFO info = {};
    SNDFILE* const sound = sf_open_fd(file, SFM_READ, &info, SF_TRUE);
    const Recording unknown = named(request.input, "", request);
    if (sound == nullptr) // which has closed the file
        throw Error(fmt::format("{}: unknown format; --format says what raw samples are: {}",
                                unknown.input, coding_names()));
    std::unique_ptr<SNDFILE, decltype(&sf_close)> closing(sound, &sf_close);
    Recording recording = named(request.input, kind_of(info).c_str(), request);
    const auto channels = static_cast<std::uint64_t>(std::max(info.channels, 0));
    if (channels == 0 || info.frames <= 0)
        throw Error(recording.input + ": holds no samples");
    const Channels chosen = choose(recording, request, channels);
    recording.format = format_of(info, chosen.complex);
    recording.coding = name(recording.format);
    if (info.frames != SF_COUNT_MAX) // what libsndfile says where it cannot know
        recording.samples = static_cast<std::uint64_t>(info.frames);
    settle(recording, request, checked_rate(recording, info.samplerate), std::nullopt,
           {hint_of(request.input)});
    auto source = std::make_unique<SoundSource>(sound, std::move(recording), channels, chosen);
    static_cast<void>(closing.release()); // it is the source's
    return source;
}

} // namespace waterfall

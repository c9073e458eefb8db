// Samples as they lie in bytes: raw files and pipes, SigMF's data, plain sound after its header.
#include "waterfall/source_parts.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <utility>
#include <vector>

namespace waterfall {
namespace {

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

class SamplesSource : public WholeSource {
public:
    SamplesSource(std::unique_ptr<ByteStream> bytes, Whole whole, Layout layout)
        : WholeSource(std::move(whole)), bytes_(std::move(bytes)), layout_(std::move(layout)),
          sample_(bytes_per_sample(layout_.coding)),
          frame_(sample_ * static_cast<std::size_t>(layout_.channels))
    {
        Recording& r = whole_.recording;
        r.format = format_of(layout_.coding);
        r.coding = name(layout_.coding);
        r.samples = count();
    }

    std::size_t read(void* block, std::size_t most) override
    {
        const std::size_t size = bytes_per_sample(recording().format);
        std::size_t done = 0;
        while (done != most && !ended_) {
            const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(most - done, next()));
            const std::size_t got =
                n == 0 ? 0 : read_frames(static_cast<char*>(block) + done * size, n);
            done += got;
            at_ += got;
        }
        return done;
    }

    std::uint64_t skip(std::uint64_t samples) override
    {
        std::uint64_t done = 0;
        while (done != samples && !ended_) {
            const std::uint64_t n = std::min(samples - done, next());
            const std::uint64_t wanted = std::min(n, endless / frame_) * frame_;
            const std::uint64_t got = bytes_->skip(wanted);
            done += got / frame_;
            at_ += got / frame_;
            if (got != wanted)
                end(at_, got % frame_);
        }
        return done;
    }

private:
    std::optional<std::uint64_t> count()
    {
        const Recording& r = recording();
        const std::optional<std::uint64_t> left = bytes_->left();
        if (!left)
            return layout_.announced && *layout_.announced >= frame_
                       ? std::optional(*layout_.announced / frame_)
                       : std::nullopt;
        if (*left == 0)
            throw Error(r.input + ": is empty");
        std::uint64_t others = std::min(layout_.trailing, *left);
        for (const Hole& hole : layout_.holes)
            others += std::min(hole.bytes, *left - others);
        std::uint64_t size = *left - others;
        if (layout_.announced && *layout_.announced > size)
            r.warnings->add(
                fmt::format("{}: truncated: its header announces {} bytes of samples, {} are "
                            "there",
                            r.input, *layout_.announced, size));
        size = std::min(size, layout_.announced.value_or(size));
        if (size < frame_)
            throw Error(
                fmt::format("{}: its {} bytes hold no whole {} sample", r.input, *left, r.coding));
        if (size % frame_ != 0)
            r.warnings->add(
                fmt::format("{}: its {} bytes are not whole {} samples of {} bytes: {} at the "
                            "end left out; truncated, or another format?",
                            r.input, size, r.coding, frame_, size % frame_));
        return size / frame_;
    }

    // Samples up to the next hole or the end, which are passed here.
    std::uint64_t next()
    {
        for (; hole_ != layout_.holes.size() && layout_.holes[hole_].sample <= at_; ++hole_)
            bytes_->skip(layout_.holes[hole_].bytes);
        std::uint64_t until = recording().samples.value_or(endless);
        if (at_ >= until)
            ended_ = true; // also of a file that still grows
        if (hole_ != layout_.holes.size())
            until = std::min(until, layout_.holes[hole_].sample);
        return until - std::min(at_, until);
    }

    std::size_t read_frames(char* block, std::size_t n)
    {
        const bool as_it_is = layout_.channels == 1 && !layout_.coding.big_endian &&
                              sample_ == bytes_per_sample(recording().format);
        if (as_it_is)
            return whole(bytes_->read(block, n * frame_), n);
        n = std::min(n, std::max<std::size_t>(1, 65536 / frame_));
        stored_.resize(n * frame_);
        const std::size_t got = whole(bytes_->read(stored_.data(), n * frame_), n);
        if (layout_.channels != 1)
            for (std::size_t i = 0; i != got; ++i)
                std::copy_n(stored_.data() + i * frame_ +
                                static_cast<std::size_t>(layout_.channel) * sample_,
                            sample_, stored_.data() + i * sample_);
        convert(layout_.coding, stored_.data(), got, block);
        return got;
    }

    std::size_t whole(std::size_t bytes, std::size_t wanted)
    {
        if (bytes != wanted * frame_)
            end(at_ + bytes / frame_, bytes % frame_);
        return bytes / frame_;
    }

    // Before what was known, or where nothing was.
    void end(std::uint64_t samples, std::uint64_t more)
    {
        const Recording& r = recording();
        ended_ = true;
        if (bytes_->interrupted())
            return;
        if (r.samples)
            r.warnings->add(
                fmt::format("{}: ended after {} of {} samples", r.input, samples, *r.samples));
        else if (samples == 0 && more == 0)
            throw Error(r.input + ": is empty");
        else if (more != 0)
            r.warnings->add(
                fmt::format("{}: ends within a sample: {} bytes after sample {} left out, {} "
                            "has {}",
                            r.input, more, samples, r.coding, frame_));
    }

    std::unique_ptr<ByteStream> bytes_;
    Layout layout_;
    std::size_t sample_, frame_;
    std::uint64_t at_ = 0;
    std::size_t hole_ = 0;
    bool ended_ = false;
    std::vector<char> stored_;
};

} // namespace

Opened open_samples(std::unique_ptr<ByteStream> bytes, Whole whole, Layout layout)
{
    return std::make_unique<SamplesSource>(std::move(bytes), std::move(whole), std::move(layout));
}

Opened open_raw(const Request& request, std::unique_ptr<ByteStream> bytes,
                std::optional<Coding> coding, const std::string& because)
{
    Recording recording = named(request.input, "raw", request);
    Layout layout;
    if (request.format) {
        layout.coding = coding_named(*request.format).value();
    } else {
        layout.coding = coding.value();
        recording.assumed.push_back(fmt::format("format {}: {}", name(layout.coding), because));
    }
    settle(recording, request, std::nullopt, std::nullopt, {hint_of(request.input)});
    return open_samples(std::move(bytes), {std::move(recording), {}}, std::move(layout));
}

} // namespace waterfall

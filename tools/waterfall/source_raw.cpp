// Samples as they lie in a file or come through a pipe; SigMF's data files too.
#include "waterfall/source_parts.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace waterfall {
namespace {

class RawSource : public Source {
public:
    RawSource(std::string path, int file, Recording recording,
              const volatile std::sig_atomic_t* stop)
        : path_(std::move(path)), file_(file), recording_(std::move(recording)),
          bytes_(bytes_per_sample(recording_.format)), stop_(stop)
    {
    }
    ~RawSource() override { ::close(file_); }
    RawSource(const RawSource&) = delete;
    RawSource& operator=(const RawSource&) = delete;

    const Recording& recording() const override { return recording_; }

    std::size_t read(void* block, std::size_t most) override
    {
        if (recording_.samples && most > *recording_.samples - done_)
            most = static_cast<std::size_t>(*recording_.samples - done_); // a file that still grows
        const std::size_t got = fill(static_cast<char*>(block), most * bytes_);
        if (!stopped())
            check_end(got, most);
        const std::size_t samples = got / bytes_;
        check_finite(path_, recording_.format, block, samples, done_);
        done_ += samples;
        return samples;
    }

private:
    bool stopped() const { return stop_ != nullptr && *stop_ != 0; }

    // Bytes read, fewer only at the end, which Ctrl-C can make too: it interrupts a wait for a pipe, and
    // it may have ended the program at the pipe's other end.
    std::size_t fill(char* to, std::size_t wanted)
    {
        std::size_t got = 0;
        while (got != wanted && !stopped()) {
            const ssize_t n = ::read(file_, to + got, wanted - got);
            if (n < 0 && errno != EINTR)
                throw system_error(path_, "cannot be read", errno);
            if (n == 0)
                break;
            if (n > 0)
                got += static_cast<std::size_t>(n);
        }
        return got;
    }

    void check_end(std::size_t got, std::size_t most) const
    {
        if (recording_.samples && got != most * bytes_)
            throw Error(fmt::format("{}: ended after {} of {} samples", path_, done_ + got / bytes_,
                                    *recording_.samples));
        if (got % bytes_ != 0)
            throw Error(fmt::format("{}: ends within a sample: {} bytes after sample {}, {} has {}",
                                    path_, got % bytes_, done_ + got / bytes_,
                                    name(recording_.format), bytes_));
        if (got == 0 && done_ == 0 && most != 0)
            throw Error(path_ + ": is empty");
    }

    std::string path_;
    int file_;
    Recording recording_;
    std::size_t bytes_;
    std::uint64_t done_ = 0;
    const volatile std::sig_atomic_t* stop_;
};

} // namespace

std::optional<std::uint64_t> count_samples(const std::string& path, Format format)
{
    struct stat facts = {};
    if (::stat(path.c_str(), &facts) != 0)
        throw system_error(path, "cannot be opened", errno);
    if (S_ISDIR(facts.st_mode))
        throw Error(path + ": is a folder");
    if (!S_ISREG(facts.st_mode))
        return std::nullopt;
    if (facts.st_size == 0)
        throw Error(path + ": is empty");
    const auto size = static_cast<std::uint64_t>(facts.st_size);
    const std::size_t bytes = bytes_per_sample(format);
    if (size % bytes != 0)
        throw Error(fmt::format(
            "{}: its {} bytes are not whole {} samples of {} bytes; truncated, or another format?",
            path, size, name(format), bytes));
    return size / bytes;
}

std::unique_ptr<Source> open_samples(const std::string& path, Recording recording,
                                     const Request& request)
{
    const int file = path == "-" ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const std::string shown = path == "-" ? "standard input" : path;
    if (file < 0)
        throw system_error(shown, "cannot be opened", errno);
    return std::make_unique<RawSource>(shown, file, std::move(recording), request.stop);
}

std::unique_ptr<Source> open_raw(const Request& request)
{
    const std::string extension = std::filesystem::path(request.input).extension().string();
    Recording recording;
    recording.input = request.input;
    recording.name = title_of(request.input);
    recording.kind = "raw";
    recording.format = format_named(request.format ? *request.format : extension.substr(1)).value();
    if (!request.format)
        recording.assumed.push_back(
            fmt::format("format {}: the file's extension", name(recording.format)));
    settle(recording, request, std::nullopt, std::nullopt);
    recording.samples = count_samples(request.input, recording.format);
    return open_samples(request.input, std::move(recording), request);
}

std::unique_ptr<Source> open_standard_input(const Request& request)
{
    if (!request.format)
        throw Error("standard input: --format must say what the samples are: " + format_names());
    if (::isatty(STDIN_FILENO) != 0)
        throw Error("standard input: is a terminal; pipe samples into it");
    Recording recording;
    recording.input = recording.name = "standard input";
    recording.kind = "raw";
    recording.format = format_named(*request.format).value();
    settle(recording, request, std::nullopt, std::nullopt);
    return open_samples("-", std::move(recording), request);
}

} // namespace waterfall

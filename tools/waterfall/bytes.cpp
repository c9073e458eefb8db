#include "waterfall/bytes.h"

#include "waterfall/source_parts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace waterfall {
namespace {

class FileBytes : public ByteStream {
public:
    FileBytes(int file, std::string shown, const volatile std::sig_atomic_t* stop)
        : file_(file), shown_(std::move(shown)), stop_(stop)
    {
    }
    ~FileBytes() override { ::close(file_); }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    FileBytes(FileBytes&&) = delete;
    FileBytes& operator=(FileBytes&&) = delete;

    bool interrupted() const override { return stop_ != nullptr && *stop_ != 0; }

private:
    // Ctrl-C interrupts a wait for a pipe, and it may have ended the program at the pipe's other end.
    std::size_t fetch(void* to, std::size_t wanted) override
    {
        std::size_t got = 0;
        while (got != wanted && !interrupted()) {
            const ssize_t n = ::read(file_, static_cast<char*>(to) + got, wanted - got);
            if (n < 0 && errno != EINTR)
                throw system_error(shown_, "cannot be read", errno);
            if (n == 0)
                break;
            if (n > 0)
                got += static_cast<std::size_t>(n);
        }
        return got;
    }

    bool leap(std::uint64_t bytes) override
    {
        const std::optional<std::uint64_t> to_end = rest();
        return to_end && bytes <= *to_end &&
               ::lseek(file_, static_cast<off_t>(bytes), SEEK_CUR) >= 0;
    }

    std::optional<std::uint64_t> rest() override
    {
        struct stat facts = {};
        if (::fstat(file_, &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_size == 0)
            return std::nullopt; // files of the system say 0 and hold more
        const off_t at = ::lseek(file_, 0, SEEK_CUR);
        return at < 0 || at > facts.st_size ? 0 : static_cast<std::uint64_t>(facts.st_size - at);
    }

    int file_;
    std::string shown_;
    const volatile std::sig_atomic_t* stop_;
};

} // namespace

std::size_t ByteStream::read(void* to, std::size_t wanted)
{
    const std::size_t known = std::min(wanted, ahead_.size());
    std::copy_n(ahead_.data(), known, static_cast<char*>(to));
    ahead_.erase(0, known);
    return known == wanted ? known : known + fetch(static_cast<char*>(to) + known, wanted - known);
}

const std::string& ByteStream::peek(std::size_t wanted)
{
    while (ahead_.size() < wanted) { // a little more each time: `wanted` may be far beyond the end
        const std::size_t known = ahead_.size();
        const std::size_t n = std::min(wanted - known, std::max<std::size_t>(known, 4096));
        ahead_.resize(known + n);
        ahead_.resize(known + fetch(ahead_.data() + known, n));
        if (ahead_.size() != known + n)
            break;
    }
    return ahead_;
}

std::uint64_t ByteStream::skip(std::uint64_t wanted)
{
    std::uint64_t done = std::min<std::uint64_t>(wanted, ahead_.size());
    ahead_.erase(0, static_cast<std::size_t>(done));
    if (done == wanted || leap(wanted - done))
        return wanted;
    std::array<char, 65536> block;
    for (;;) {
        const auto n =
            static_cast<std::size_t>(std::min<std::uint64_t>(wanted - done, block.size()));
        const std::size_t got = n == 0 ? 0 : fetch(block.data(), n);
        done += got;
        if (got == 0)
            return done;
    }
}

std::optional<std::uint64_t> ByteStream::left()
{
    const std::optional<std::uint64_t> beyond = rest();
    return beyond ? std::optional(*beyond + ahead_.size()) : std::nullopt;
}

std::unique_ptr<ByteStream> open_bytes(const std::string& path, const std::string& shown,
                                       const volatile std::sig_atomic_t* stop)
{
    const int file = path == "-" ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        throw system_error(shown, "cannot be opened", errno);
    struct stat facts = {};
    if (::fstat(file, &facts) == 0 && S_ISDIR(facts.st_mode)) {
        ::close(file);
        throw Error(shown + ": is a folder");
    }
    return std::make_unique<FileBytes>(file, shown, stop);
}

Spool::Spool(ByteStream& bytes)
{
    const char* const folder = std::getenv("TMPDIR");
    std::string name = std::string(folder != nullptr ? folder : "/tmp") + "/simd-waterfall-XXXXXX";
    file_ = ::mkstemp(name.data());
    if (file_ < 0)
        throw system_error(name, "cannot be written", errno);
    ::unlink(name.c_str());
    std::array<char, 65536> block;
    for (std::size_t got = 0; (got = bytes.read(block.data(), block.size())) != 0;)
        for (std::size_t done = 0; done != got;) {
            const ssize_t n = ::write(file_, block.data() + done, got - done);
            if (n < 0 && errno != EINTR) {
                const int number = errno;
                ::close(file_);
                throw system_error(name, "cannot be written", number);
            }
            done += n > 0 ? static_cast<std::size_t>(n) : 0;
        }
}

Spool::~Spool() { ::close(file_); }

int Spool::descriptor() const
{
    ::lseek(file_, 0, SEEK_SET);
    return ::dup(file_);
}

std::unique_ptr<ByteStream> Spool::open(const volatile std::sig_atomic_t* stop) const
{
    return std::make_unique<FileBytes>(descriptor(), "what standard input brought", stop);
}

} // namespace waterfall

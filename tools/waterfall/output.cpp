#include "waterfall/output.h"

#include "waterfall/source_parts.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace waterfall {
namespace {

[[noreturn]] void fail(const std::string& path, int number)
{
    throw system_error(path, "cannot be written", number);
}

// 0, or the errno of the first write that failed; a close can be what reports a full disk.
int write_all(int file, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t n = ::write(file, bytes.data(), bytes.size());
        if (n < 0 && errno != EINTR)
            return errno;
        if (n > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
    return 0;
}

bool is_special(const std::string& path)
{
    struct stat facts = {};
    return ::stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode);
}

// A link stays a link: what it points to is replaced.
std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? std::string(real.get()) : path;
}

} // namespace

Output::Output(const std::string& path, std::span<const std::byte> bytes)
    : path_(resolved(path)), shown_(path)
{
    std::string target = path_;
    int flags = O_WRONLY | O_CLOEXEC;
    if (!is_special(path)) {
        target = temporary_ = fmt::format("{}.{}.part", path_, ::getpid());
        flags |= O_CREAT | O_TRUNC;
    }
    const int file = ::open(target.c_str(), flags, 0666);
    if (file < 0) {
        const int number = errno;
        temporary_.clear();
        fail(shown_, number);
    }
    int number = write_all(file, bytes);
    if (::close(file) != 0 && number == 0)
        number = errno;
    if (number != 0) {
        if (!temporary_.empty())
            ::unlink(temporary_.c_str());
        fail(shown_, number);
    }
}

Output::Output(Output&& other) noexcept
    : path_(std::move(other.path_)), shown_(std::move(other.shown_)),
      temporary_(std::exchange(other.temporary_, {}))
{
}

Output::~Output()
{
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
}

void Output::commit()
{
    if (temporary_.empty())
        return;
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
        fail(shown_, errno);
    temporary_.clear();
}

void check_output(const std::string& path)
{
    struct stat facts = {};
    if (::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode))
        fail(path, EISDIR);
    const auto folder = std::filesystem::absolute(resolved(path)).parent_path();
    if (::access(is_special(path) ? path.c_str() : folder.c_str(), W_OK) != 0)
        fail(path, errno);
}

} // namespace waterfall

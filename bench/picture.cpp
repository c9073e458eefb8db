#include "bench/picture.h"

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

/// Beside the program as it is installed, or as it is built.
std::filesystem::path script()
{
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const auto installed = folder.parent_path() / "share" / "libsimd" / "simd-bench-plot";
    const auto built = folder / "bench" / "simd-bench-plot";
    for (const auto& path : {built, installed})
        if (std::filesystem::exists(path))
            return path;
    throw std::runtime_error(installed.string() + ": not there, so no picture is drawn");
}

} // namespace

void draw(const Report& report, const std::string& path)
{
    const std::string program = script();
    char name[] = "/tmp/simd-bench-XXXXXX";
    const int file = mkstemp(name);
    if (file < 0)
        throw std::runtime_error("cannot make a file in /tmp");
    close(file);
    write_json(report, name);
    const pid_t child = fork();
    if (child == 0) {
        execl(program.c_str(), program.c_str(), static_cast<const char*>(name), path.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = -1;
    if (child > 0)
        waitpid(child, &status, 0);
    std::filesystem::remove(name);
    if (status != 0)
        throw std::runtime_error(program + " has failed, so there is no picture");
}

} // namespace bench

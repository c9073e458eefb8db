// tests/waterfall_files.h: inputs for simd-waterfall's reader, and what it makes of them.
#pragma once

#include "waterfall/error.h"
#include "waterfall/format.h"
#include "waterfall/source.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace waterfall {

namespace fs = std::filesystem;

using Bytes = std::vector<char>;

// A folder that goes away with its test.
class Folder {
public:
    Folder()
    {
        std::string name = (fs::temp_directory_path() / "waterfall-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~Folder() { fs::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string at(const std::string& name) const { return (path_ / name).string(); }
    std::string write(const std::string& name, std::span<const char> bytes) const
    {
        std::ofstream file(at(name), std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        file.close();
        EXPECT_TRUE(file.good());
        return at(name);
    }
    std::string write_text(const std::string& name, const std::string& text) const
    {
        return write(name, std::span(text.data(), text.size()));
    }
    std::size_t files() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
    }

private:
    fs::path path_;
};

// Bytes that no neighbour repeats. As floats they are finite: the high byte of each is 0x3f or less.
inline Bytes pattern(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i != size; ++i)
        bytes[i] = static_cast<char>((i * 37 + i / 251) % 64);
    return bytes;
}

inline std::unique_ptr<Source> open(const std::string& input,
                                    std::optional<std::string> format = {},
                                    std::optional<double> rate = {},
                                    std::optional<double> center = {})
{
    Request request;
    request.input = input;
    request.format = std::move(format);
    request.rate = rate;
    request.center = center;
    return open_source(request);
}

// Everything, in blocks of `most`.
inline Bytes read_all(Source& source, std::size_t most)
{
    const std::size_t size = bytes_per_sample(source.recording().format);
    Bytes all;
    for (;;) {
        Bytes block(most * size);
        const std::size_t got = source.read(block.data(), most);
        EXPECT_LE(got, most);
        all.insert(all.end(), block.begin(),
                   block.begin() + static_cast<std::ptrdiff_t>(got * size));
        if (got < most)
            break;
    }
    Bytes more(most * size);
    EXPECT_EQ(source.read(more.data(), most), 0U) << "after the end";
    return all;
}

// The message of the Error that opening and reading ends with.
inline std::string failure(const Request& request)
{
    try {
        read_all(*open_source(request), 1000);
    } catch (const Error& error) {
        return error.what();
    }
    return "no error";
}

inline std::string failure(const std::string& input, std::optional<std::string> format = {},
                           std::optional<double> rate = {}, std::optional<double> center = {})
{
    Request request;
    request.input = input;
    request.format = std::move(format);
    request.rate = rate;
    request.center = center;
    return failure(request);
}

// What is said of an input that is shown all the same, and that --strict makes the same words an error.
inline std::string warning(Request request)
{
    request.strict = false;
    const auto source = open_source(request);
    read_all(*source, 1000);
    const std::vector<std::string> lines = source->recording().warnings->lines();
    if (lines.empty())
        return "no warning";
    request.strict = true;
    const std::string strict = failure(request);
    EXPECT_EQ(strict.substr(0, strict.find(';')), lines.at(0).substr(0, lines.at(0).find(';')));
    return lines.at(0);
}

inline std::string warning(const std::string& input, std::optional<std::string> format = {})
{
    Request request;
    request.input = input;
    request.format = std::move(format);
    return warning(request);
}

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

#define EXPECT_SAYS(message, file, part)                                                           \
    do {                                                                                           \
        const std::string said = (message);                                                        \
        EXPECT_TRUE(said.starts_with((file) + ": ")) << said;                                      \
        EXPECT_TRUE(contains(said, part)) << said;                                                 \
        EXPECT_FALSE(contains(said, "\n")) << said;                                                \
    } while (false)

inline constexpr std::array formats{Format::cu8,  Format::cs8, Format::cs16, Format::cf32,
                                    Format::cf64, Format::u8,  Format::s8,   Format::s16,
                                    Format::f32,  Format::f64};

} // namespace waterfall

// The command line, and files that appear complete or not at all.
#include "waterfall/options.h"
#include "waterfall/output.h"
#include "waterfall_files.h"

#include <cstring>

using namespace waterfall;

namespace {

std::optional<Options> parse(std::vector<const char*> words)
{
    words.insert(words.begin(), "simd-waterfall");
    return parse_options(static_cast<int>(words.size()), words.data());
}

TEST(WaterfallOptions, Defaults)
{
    const Options o = parse({}).value();
    EXPECT_EQ(o.request.input, "");
    EXPECT_EQ(o.settings.fft, 2048U);
    EXPECT_EQ(o.settings.overlap, 0.5);
    EXPECT_EQ(o.settings.rows, 600U);
    EXPECT_FALSE(o.settings.channel.has_value());
    EXPECT_EQ(o.waterfall, "generated-waterfall.png");
    EXPECT_EQ(o.spectrum, "generated-spectrum.png");
    EXPECT_EQ(o.json, "");
    EXPECT_FALSE(o.quiet);
}

TEST(WaterfallOptions, Everything)
{
    const Options o =
        parse({"dir/x.y.cs16", "--format",   "cu8",   "--rate",    "2.4M", "--center",
               "100.1234567M", "--fft",      "4096",  "--overlap", "0.25", "--window",
               "rect",         "--average",  "0.5",   "--smooth",  "5",    "--channel",
               "-100k",        "--decimate", "8",     "--lines",   "3",    "--rows",
               "100",          "--low",      "-120",  "--high",    "-20",  "--waterfall",
               "w.png",        "--spectrum", "s.png", "--json",    "-",    "--quiet"})
            .value();
    EXPECT_EQ(o.request.input, "dir/x.y.cs16");
    EXPECT_EQ(o.request.format, "cu8");
    EXPECT_EQ(o.request.rate, 2.4e6);
    EXPECT_DOUBLE_EQ(o.request.center.value(), 100123456.7);
    EXPECT_EQ(o.settings.fft, 4096U);
    EXPECT_EQ(o.settings.overlap, 0.25);
    EXPECT_EQ(o.settings.window, "rect");
    EXPECT_EQ(o.settings.average, 0.5);
    EXPECT_EQ(o.settings.smooth, 5U);
    EXPECT_EQ(o.settings.channel, -1e5);
    EXPECT_EQ(o.settings.decimate, 8U);
    EXPECT_EQ(o.settings.lines, 3U);
    EXPECT_EQ(o.settings.rows, 100U);
    EXPECT_EQ(o.settings.low_db, -120.0);
    EXPECT_EQ(o.settings.high_db, -20.0);
    EXPECT_EQ(o.waterfall, "w.png");
    EXPECT_EQ(o.spectrum, "s.png");
    EXPECT_EQ(o.json, "-");
    EXPECT_TRUE(o.quiet);
}

TEST(WaterfallOptions, PicturesAreNamedAfterTheInput)
{
    EXPECT_EQ(parse({"dir/x.y.cs16"})->waterfall, "x.y-waterfall.png");
    EXPECT_EQ(parse({"dir/x.sigmf-meta"})->spectrum, "x-spectrum.png");
    EXPECT_EQ(parse({"-", "--format", "cu8"})->waterfall, "stdin-waterfall.png");
    EXPECT_EQ(parse({"dir/x.cu8", "--svg"})->spectrum, "x-spectrum.svg");
    EXPECT_FALSE(parse({"--no-annotations"})->request.annotations);
    EXPECT_TRUE(parse({})->request.annotations);
    const Options none = parse({"x.cu8", "--no-pictures"}).value();
    EXPECT_EQ(none.waterfall + none.spectrum, "");
}

TEST(WaterfallOptions, CountsTakeSuffixes)
{
    const Options o = parse({"--fft", "4k", "--rows", "1k", "--lines", "0"}).value();
    EXPECT_EQ(o.settings.fft, 4000U);
    EXPECT_EQ(o.settings.rows, 1000U);
    EXPECT_EQ(o.settings.lines, 0U);
    EXPECT_EQ(parse({"--fft", "4Ki"})->settings.fft, 4096U);
    try {
        parse({"--fft=-1"});
        ADD_FAILURE() << "no error";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "--fft: '-1' is not a count");
    }
}

TEST(WaterfallOptions, WhatCannotBe)
{
    const std::vector<std::vector<const char*>> cases = {
        {"--fft", "1000"},
        {"--fft", "abc"},
        {"--fft"},
        {"--fft", "-2048"},
        {"--overlap", "1"},
        {"--window", "round"},
        {"--rows", "0"},
        {"--decimate", "0"},
        {"--smooth", "4"},
        {"x.cu8", "--rate", "0"},
        {"x.cu8", "--rate", "fast"},
        {"x.cu8", "--center", "1MHz"},
        {"x.cu8", "--format", "cs12"},
        {"--rate", "5"},
        {"a.cu8", "b.cu8"},
        {"--colour"},
        {"--no-pictures", "--spectrum", "x.png"},
        {"--waterfall", "x.png", "--spectrum", "x.png"},
        {"--low", "-10", "--high", "-20"},
        {"--low", "-1e300"},
        {"--high", "1e300"},
        {"--lines=-1"},
        {"--fft=-1"},
        {"--rows", "2.5"},
        {"--waterfall", "x.png", "--spectrum", "./x.png"},
        {"--waterfall", "none/x.png", "--json", "none/../none/x.png"},
        {"--waterfall", "-", "--json", "-"},
    };
    for (const auto& words : cases) {
        try {
            parse(words);
            ADD_FAILURE() << "no error: " << words.at(0);
        } catch (const Error& error) {
            EXPECT_FALSE(contains(error.what(), "\n")) << error.what();
            EXPECT_GT(std::strlen(error.what()), 10U);
        }
    }
}

std::string content(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(WaterfallOutput, CompleteOrNotAtAll)
{
    const Folder folder;
    const std::string path = folder.write_text("x.png", "before");
    const std::string text = "after";
    {
        Output output(path, std::as_bytes(std::span(text)));
        EXPECT_EQ(content(path), "before");
        output.commit();
        EXPECT_EQ(content(path), "after");
    }
    EXPECT_EQ(folder.files(), 1U);
    const std::string third = "third";
    {
        const Output dropped(path, std::as_bytes(std::span(third)));
        EXPECT_EQ(folder.files(), 2U);
    }
    EXPECT_EQ(content(path), "after");
    EXPECT_EQ(folder.files(), 1U);
}

TEST(WaterfallOutput, LinksStayLinks)
{
    const Folder folder;
    folder.write_text("real.png", "before");
    fs::create_symlink("real.png", folder.at("link.png"));
    const std::string text = "after";
    Output(folder.at("link.png"), std::as_bytes(std::span(text))).commit();
    EXPECT_TRUE(fs::is_symlink(folder.at("link.png")));
    EXPECT_EQ(content(folder.at("real.png")), "after");
}

TEST(WaterfallOutput, Failures)
{
    const Folder folder;
    const std::string text(100000, 'x');
    const auto bytes = std::as_bytes(std::span(text));
    const auto message = [&](const std::string& path) -> std::string {
        try {
            Output(path, bytes).commit();
        } catch (const Error& error) {
            return error.what();
        }
        return "no error";
    };
    EXPECT_SAYS(message("/dev/full"), std::string("/dev/full"), "No space left");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(message("/dev/null"), "no error");
    const std::string nowhere = folder.at("none/x.png");
    EXPECT_SAYS(message(nowhere), nowhere, "No such file");
    EXPECT_THROW(check_output(nowhere), Error);
    EXPECT_THROW(check_output(folder.at("")), Error);
    EXPECT_NO_THROW(check_output(folder.at("x.png")));
    EXPECT_NO_THROW(check_output("x.png"));
    EXPECT_EQ(folder.files(), 0U);
}

} // namespace

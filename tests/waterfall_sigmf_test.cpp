// SigMF: metadata arrives, and where it disagrees with the data, that is said in one line.
#include "waterfall/units.h"
#include "waterfall_files.h"

using namespace waterfall;

namespace {

std::string meta(const std::string& global, const std::string& captures = "[]",
                 const std::string& annotations = "[]")
{
    return R"({"global": {)" + global + R"(}, "captures": )" + captures + R"(, "annotations": )" +
           annotations + "}";
}
const std::string good_global = R"("core:datatype": "ci16_le", "core:sample_rate": 1000)";

// A recording of 1000 samples of 16 bits.
std::string write_sigmf(const Folder& folder, const std::string& text)
{
    folder.write("r.sigmf-data", pattern(4000));
    return folder.write_text("r.sigmf-meta", text);
}

TEST(WaterfallSigmf, ByEitherNameOrTheBareOne)
{
    const Folder folder;
    const std::string path = write_sigmf(
        folder, meta(good_global, R"([{"core:sample_start": 0, "core:frequency": 1e8}])"));
    for (const char* name : {"r.sigmf-meta", "r.sigmf-data", "r"}) {
        const auto source = open(folder.at(name));
        const Recording& r = source->recording();
        EXPECT_EQ(r.name, "r");
        EXPECT_EQ(r.kind, "SigMF");
        EXPECT_EQ(r.format, Format::cs16);
        EXPECT_EQ(r.rate, 1000.0);
        EXPECT_EQ(r.center, 1e8);
        EXPECT_EQ(r.samples, 1000U);
        EXPECT_TRUE(r.assumed.empty());
        EXPECT_EQ(read_all(*source, 333), pattern(4000));
    }
}

TEST(WaterfallSigmf, NamesWithDots)
{
    const Folder folder;
    folder.write("a.b.sigmf-data", pattern(40));
    folder.write_text("a.b.sigmf-meta", meta(good_global));
    EXPECT_EQ(open(folder.at("a.b"))->recording().name, "a.b");
    EXPECT_EQ(open(folder.at("a.b.sigmf-meta"))->recording().name, "a.b");
}

// All of them, by number: width and kind decide what a sample takes and is read as.
TEST(WaterfallSigmf, Datatypes)
{
    const Folder folder;
    struct Case {
        const char* number;
        std::size_t bytes;
        Format complex, real;
    };
    const Case cases[] = {
        {"i8", 1, Format::cs8, Format::s8},    {"u8", 1, Format::cu8, Format::u8},
        {"i16", 2, Format::cs16, Format::s16}, {"u16", 2, Format::cf32, Format::f32},
        {"i32", 4, Format::cf64, Format::f64}, {"u32", 4, Format::cf64, Format::f64},
        {"f32", 4, Format::cf32, Format::f32}, {"f64", 8, Format::cf64, Format::f64}};
    for (const Case& c : cases)
        for (const bool complex : {true, false})
            for (const char* order : {"_le", "_be", ""}) {
                if (c.bytes != 1 && *order == '\0')
                    continue;
                const std::string type = std::string(complex ? "c" : "r") + c.number + order;
                write_sigmf(folder, meta(R"("core:datatype": ")" + type + "\""));
                const auto source = open(folder.at("r"));
                EXPECT_EQ(source->recording().format, complex ? c.complex : c.real) << type;
                EXPECT_EQ(source->recording().samples, 4000 / c.bytes / (complex ? 2 : 1)) << type;
                Bytes expected(4000 / c.bytes * 8);
                const Coding coding = coding_named(type).value();
                convert(coding, pattern(4000).data(), 4000 / bytes_per_sample(coding),
                        expected.data());
                const Bytes read = read_all(*source, 100);
                expected.resize(read.size());
                EXPECT_EQ(read, expected) << type;
                if (std::string(order) != "_be" && read.size() == 4000) { // nothing to convert
                    EXPECT_EQ(read, pattern(4000)) << type;
                }
            }
    for (const char* bad : {"ci24_le", "cs16", "cfile", "i16_le", "ci16", "CI16_le", ""}) {
        const std::string path =
            write_sigmf(folder, meta(std::string(R"("core:datatype": ")") + bad + "\""));
        EXPECT_SAYS(failure(path), path,
                    std::string("is \"") + bad + "\", which nothing is known by");
        EXPECT_EQ(open(path, "cs8")->recording().samples, 2000U);
    }
}

TEST(WaterfallSigmf, Annotations)
{
    const Folder folder;
    write_sigmf(folder,
                meta(good_global, R"([{"core:sample_start": 0, "core:frequency": 5000}])", R"([
        {"core:sample_start": 100, "core:sample_count": 250, "core:freq_lower_edge": 4900,
         "core:freq_upper_edge": 5100.5, "core:label": "one", "core:description": "not this"},
        {"core:sample_start": 0, "core:sample_count": 1000, "core:description": "two\nlines"},
        {"core:sample_start": 400, "core:comment": "to the end", "core:freq_lower_edge": 5000}])"));
    const auto source = open(folder.at("r"));
    const auto& a = source->recording().annotations;
    ASSERT_EQ(a.size(), 3U);
    EXPECT_EQ(a[0].start, 0.1);
    EXPECT_EQ(a[0].length, 0.25);
    EXPECT_EQ(a[0].low, 4900.0);
    EXPECT_EQ(a[0].high, 5100.5);
    EXPECT_EQ(a[0].label, "one");
    EXPECT_EQ(a[1].label, "two lines");
    EXPECT_EQ(a[1].low, 4500.0);
    EXPECT_EQ(a[1].high, 5500.0);
    EXPECT_EQ(a[2].label, "to the end");
    EXPECT_EQ(a[2].start + a[2].length, 1.0);
    EXPECT_EQ(a[2].low, 5000.0);

    // What the user says moves them along: they stay where the samples are.
    const auto moved = open(folder.at("r"), {}, 2000.0, 6000.0);
    EXPECT_EQ(moved->recording().annotations[0].start, 0.05);
    EXPECT_EQ(moved->recording().annotations[0].low, 5900.0);
    EXPECT_EQ(moved->recording().annotations[1].high, 7000.0);
    EXPECT_EQ(moved->recording().assumed,
              (std::vector<std::string>{"rate 2 kS/s: --rate, in place of 1 kS/s",
                                        "centre 6 kHz: --center, in place of 5 kHz"}));
}

TEST(WaterfallSigmf, OffsetOfTheFirstSample)
{
    const Folder folder;
    write_sigmf(folder, meta(good_global + R"(, "core:offset": 500)",
                             R"([{"core:sample_start": 500, "core:frequency": 5000}])",
                             R"([{"core:sample_start": 600, "core:sample_count": 900}])"));
    const auto source = open(folder.at("r"));
    EXPECT_EQ(source->recording().annotations[0].start, 0.1);
    EXPECT_EQ(source->recording().annotations[0].length, 0.9);
}

// What is shown ends where the receiver is tuned again; a start there shows that part, at its frequency.
TEST(WaterfallSigmf, TunedAgainWhileRecording)
{
    const Folder folder;
    const std::string path =
        write_sigmf(folder, meta(good_global, R"([{"core:sample_start": 0, "core:frequency": 5000,
            "core:datetime": "2026-01-02T03:04:05Z"},
        {"core:sample_start": 100, "core:frequency": 5000},
        {"core:sample_start": 500, "core:frequency": 7000, "core:datetime": "2026-01-02T04:00:00.5Z"}])",
                                 R"([{"core:sample_start": 600, "core:sample_count": 100},
        {"core:sample_start": 450, "core:sample_count": 100, "core:freq_lower_edge": 4900}])"));
    const auto first = open(path);
    EXPECT_EQ(first->recording().center, 5000.0);
    EXPECT_EQ(first->recording().samples, 500U);
    EXPECT_EQ(first->recording().assumed,
              std::vector<std::string>{
                  "the 500 samples before captures[2], which is at 7 kHz: --start 500S shows it"});
    EXPECT_EQ(clock_text(first->recording().time.value(), 1), "03:04:05.0");
    ASSERT_EQ(first->recording().annotations.size(), 1U);
    EXPECT_EQ(first->recording().annotations[0].length, 0.05);
    Request request;
    request.input = path;
    request.start = Span{0.55, {}};
    const auto second = open_source(request);
    const Recording& r = second->recording();
    EXPECT_EQ(r.center, 7000.0);
    EXPECT_EQ(r.samples, 450U);
    EXPECT_TRUE(r.assumed.empty());
    EXPECT_EQ(clock_text(r.time.value(), 2), "04:00:00.55");
    ASSERT_EQ(r.annotations.size(), 1U);
    EXPECT_EQ(r.annotations[0].start, 0.05);
    EXPECT_EQ(r.annotations[0].low, 6500.0);
    EXPECT_EQ(r.annotations[0].high, 7500.0);
    const Bytes all = pattern(4000);
    EXPECT_EQ(read_all(*second, 64), Bytes(all.begin() + 2200, all.end()));
}

// Bytes between and behind the samples are none of them.
TEST(WaterfallSigmf, DatasetsWithOtherBytes)
{
    const Folder folder;
    const std::string global =
        good_global + R"(, "core:dataset": "other.dat", "core:trailing_bytes": 7)";
    const std::string captures = R"([{"core:sample_start": 0, "core:header_bytes": 16},
        {"core:sample_start": 100, "core:header_bytes": 3}, {"core:sample_start": 150}])";
    const Bytes samples = pattern(1000);
    Bytes file(16, 'h');
    file.insert(file.end(), samples.begin(), samples.begin() + 400);
    file.insert(file.end(), 3, 'h');
    file.insert(file.end(), samples.begin() + 400, samples.end());
    file.insert(file.end(), 7, 't');
    folder.write("other.dat", file);
    const std::string path = folder.write_text("r.sigmf-meta", meta(global, captures));
    for (const std::size_t most : {1U, 99U, 100U, 101U, 1000U}) {
        EXPECT_EQ(open(path)->recording().samples, 250U);
        EXPECT_EQ(read_all(*open(path), most), samples);
    }
    for (const std::uint64_t start : {0U, 50U, 99U, 100U, 101U, 249U}) {
        Request request;
        request.input = path;
        request.start = Span{0, start};
        EXPECT_EQ(read_all(*open_source(request), 64),
                  Bytes(samples.begin() + static_cast<std::ptrdiff_t>(4 * start), samples.end()));
    }
    for (const char* bad : {"../other.dat", "/etc/hosts", "..", ""}) {
        const std::string hostile = good_global + R"(, "core:dataset": ")" + bad + "\"";
        const std::string there = folder.write_text("r.sigmf-meta", meta(hostile));
        EXPECT_SAYS(failure(there), there, "core:dataset of global is no name");
    }
}

TEST(WaterfallSigmf, Channels)
{
    const Folder folder;
    const std::string path = write_sigmf(folder, meta(good_global + R"(, "core:num_channels": 5)"));
    EXPECT_EQ(open(path)->recording().assumed.at(0), "the first of 5 channels (--input-channel)");
    const Bytes all = pattern(4000);
    for (std::uint64_t channel = 1; channel <= 5; ++channel) {
        Request request;
        request.input = path;
        request.channel = channel;
        const auto source = open_source(request);
        EXPECT_EQ(source->recording().samples, 200U);
        const Bytes read = read_all(*source, 33);
        ASSERT_EQ(read.size(), 800U);
        for (std::size_t i = 0; i != 800; ++i)
            ASSERT_EQ(read[i], all[i / 4 * 20 + (channel - 1) * 4 + i % 4]);
        request.start = Span{0, 199};
        EXPECT_EQ(read_all(*open_source(request), 33), Bytes(read.end() - 4, read.end()));
    }
    Request request;
    request.input = path;
    for (const std::uint64_t none : {std::uint64_t{0}, std::uint64_t{6}}) {
        request.channel = none;
        EXPECT_TRUE(contains(failure(request), "there is no channel"));
    }
}

std::string with_global(const std::string& more) { return meta(good_global + ", " + more); }
std::string with_capture(const std::string& c) { return meta(good_global, "[" + c + "]"); }
std::string with_annotation(const std::string& a)
{
    return meta(good_global, "[]", "[{\"core:sample_start\": 0}, " + a + "]");
}

struct Case {
    std::string text, says;
};

// The rest is shown, and with --strict the same line is an error.
TEST(WaterfallSigmf, WhatIsWrongIsLeftOutAndSaid)
{
    const Folder folder;
    const Case cases[] = {
        {meta(R"("core:datatype": "cu8", "core:sample_rate": 0)"), "is 0, not a positive number"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": -2.5)"), "is -2.5, not a positive"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": "1M")"), "is not a number"},
        {with_global(R"("core:trailing_bytes": -4)"),
         "core:trailing_bytes of global is -4, not a count"},
        {with_global(R"("core:trailing_bytes": 1e18)"),
         "core:trailing_bytes of global is 1e+18, not a"},
        {with_capture(R"({"core:sample_start": 1000})"),
         "core:sample_start of captures[0] is 1000, outside the 1000"},
        {with_capture(R"({"core:frequency": null})"),
         "core:frequency of captures[0] is not a number"},
        {with_capture(R"({"core:datetime": "yesterday"})"),
         "core:datetime of captures[0] is \"yesterday\""},
        {with_capture(R"({"core:sample_start": 9}, {"core:sample_start": 8})"),
         "core:sample_start of captures[1] is 8, before what"},
        {with_capture(
             R"({"core:global_index": 5}, {"core:sample_start": 8, "core:global_index": 20})"),
         "core:global_index of captures[1] is 20: 7 samples before it were lost"},
        {with_capture("7"), "captures[0] is not an object"},
        {meta(good_global, "{}"), "captures is not a list"},
        {with_annotation(R"({"core:sample_start": 990, "core:sample_count": 11})"),
         "core:sample_count of annotations[1] is 11, but the data file ends after 10"},
        {with_annotation(R"({"core:sample_start": 1000})"),
         "annotations[1] is 1000, but the data file has 1000"},
        {with_annotation(R"({"core:sample_start": -1})"), "is -1, not a count"},
        {with_annotation(R"({"core:sample_start": 1.5})"), "is 1.5, not a count"},
        {with_annotation(R"({"core:sample_count": 4})"),
         "core:sample_start of annotations[1] is missing"},
        {with_annotation(R"({"core:sample_start": 1, "core:label": 5})"), "is not a text"},
        {with_annotation(R"({"core:sample_start": 1, "core:freq_lower_edge": 9,
                             "core:freq_upper_edge": 8})"),
         "core:freq_lower_edge of annotations[1] is above"},
    };
    for (const Case& c : cases) {
        const std::string path = write_sigmf(folder, c.text);
        const std::string said = warning(path);
        EXPECT_TRUE(contains(said, c.says)) << said;
        EXPECT_FALSE(contains(said, "\n"));
        EXPECT_EQ(open(path)->recording().samples, contains(c.text, "cu8") ? 2000U : 1000U);
    }
    const std::string touching =
        with_annotation(R"({"core:sample_start": 990, "core:sample_count": 10})");
    EXPECT_EQ(warning(write_sigmf(folder, touching)), "no warning");
    const std::string number =
        with_annotation(R"({"core:sample_start": 1, "core:label": 5}, {"core:sample_start": 2})");
    const auto source = open(write_sigmf(folder, number));
    ASSERT_EQ(source->recording().annotations.size(), 3U);
    EXPECT_EQ(source->recording().annotations[1].label, "5");
}

// However many there are, a few lines say it.
TEST(WaterfallSigmf, ManyWarningsAreCounted)
{
    const Folder folder;
    std::string list = "[1";
    for (int i = 0; i != 999; ++i)
        list += ",1";
    const auto source = open(write_sigmf(folder, meta(good_global, "[]", list + "]")));
    const std::vector<std::string> lines = source->recording().warnings->lines();
    ASSERT_EQ(lines.size(), 11U);
    EXPECT_EQ(lines[10], "and 990 more of this kind");
}

TEST(WaterfallSigmf, WhatCannotBeShown)
{
    const Folder folder;
    const Case cases[] = {
        {with_global(R"("core:num_channels": 0)"), "core:num_channels of global is 0"},
        {with_global(R"("core:num_channels": 1e9)"), "core:num_channels of global is 1000000000"},
        {with_global(R"("core:metadata_only": true)"), "core:metadata_only"},
        {with_capture(R"({"core:header_bytes": 4000})"), "hold no whole cs16 sample"},
        {with_global(R"("core:trailing_bytes": 4000)"), "hold no whole cs16 sample"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": 1e300)"), "too far out"},
        {with_capture(R"({"core:frequency": 1e15})"), "too far out"},
        {meta(R"("core:sample_rate": 5)"), "core:datatype of global is missing"},
        {meta(R"("core:datatype": 16)"),
         "core:datatype of global is 16, which nothing is known by"},
        {"{\"global\":\n 12", "is not JSON"},
        {"[]", "no SigMF metadata"},
        {"", "is not JSON"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": 1e999)"), "1e999"},
        {std::string(1000000, '['), "is not JSON"},
    };
    for (const Case& c : cases) {
        const std::string said = failure(write_sigmf(folder, c.text));
        EXPECT_TRUE(contains(said, c.says)) << said;
        EXPECT_FALSE(contains(said, "\n"));
    }
}

TEST(WaterfallSigmf, MissingHalvesAndWrongSizes)
{
    const Folder folder;
    const std::string data = folder.write("r.sigmf-data", pattern(4000));
    EXPECT_SAYS(failure(data), folder.at("r.sigmf-meta"), "No such file");
    folder.write_text("only.sigmf-meta", meta(good_global));
    EXPECT_SAYS(failure(folder.at("only")), folder.at("only.sigmf-data"), "No such file");
    folder.write_text("r.sigmf-meta", meta(good_global));
    fs::resize_file(data, 3999);
    EXPECT_SAYS(warning(data), data, "its 3999 bytes are not whole cs16 samples of 4 bytes");
    fs::resize_file(data, 0);
    EXPECT_SAYS(failure(data), data, "is empty");
    folder.write("r.sigmf-data", pattern(4000));
    const auto other = open(data, "cu8");
    EXPECT_EQ(other->recording().samples, 2000U);
    EXPECT_EQ(other->recording().assumed.at(0), "format cu8: --format, in place of 'ci16_le'");
}

} // namespace

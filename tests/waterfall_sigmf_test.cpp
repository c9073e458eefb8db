// SigMF: metadata arrives, and where it disagrees with the data, that is said in one line.
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

TEST(WaterfallSigmf, Datatypes)
{
    const Folder folder;
    for (const Format f : formats) {
        write_sigmf(folder, meta(std::string(R"("core:datatype": ")") + sigmf_name(f) + "\""));
        const auto source = open(folder.at("r"));
        EXPECT_EQ(source->recording().format, f);
        EXPECT_EQ(read_all(*source, 100), pattern(4000));
    }
    for (const char* bad : {"ci16_be", "cs16", "cu16_le", "ru8", ""}) {
        const std::string path =
            write_sigmf(folder, meta(std::string(R"("core:datatype": ")") + bad + "\""));
        EXPECT_SAYS(failure(path), path,
                    std::string("is '") + bad + "'; known are cu8, ci8, ci16_le");
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

TEST(WaterfallSigmf, TunedAgainWhileRecording)
{
    const Folder folder;
    write_sigmf(folder, meta(good_global, R"([{"core:sample_start": 0, "core:frequency": 5000},
        {"core:sample_start": 100, "core:frequency": 5000},
        {"core:sample_start": 500, "core:frequency": 7000}])"));
    const auto source = open(folder.at("r"));
    EXPECT_EQ(source->recording().center, 5000.0);
    EXPECT_EQ(source->recording().assumed,
              std::vector<std::string>{"centre 5 kHz throughout: captures[2] is at 7 kHz"});
}

TEST(WaterfallSigmf, MetadataThatDisagreesWithTheData)
{
    const Folder folder;
    const auto with_global = [](const std::string& more) {
        return meta(good_global + ", " + more);
    };
    const auto with_capture = [](const std::string& c) { return meta(good_global, "[" + c + "]"); };
    const auto with_annotation = [](const std::string& a) {
        return meta(good_global, "[]", "[{\"core:sample_start\": 0}, " + a + "]");
    };
    const std::string capture_outside = R"({"core:sample_start": 1000})";
    struct Case {
        std::string text, says;
    };
    const Case cases[] = {
        {with_global(R"("core:num_channels": 2)"), "core:num_channels of global is 2"},
        {with_global(R"("core:num_channels": 0)"), "core:num_channels of global is 0"},
        {with_global(R"("core:metadata_only": true)"), "core:metadata_only"},
        {meta(R"("core:sample_rate": 5)"), "core:datatype of global is missing"},
        {meta(R"("core:datatype": 16)"), "core:datatype of global is not a text"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": 0)"), "is 0, not a positive number"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": -2.5)"), "is -2.5, not a positive"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": "1M")"), "is not a number"},
        {with_capture(capture_outside),
         "core:sample_start of captures[0] is 1000, outside the 1000"},
        {with_capture(R"({"core:frequency": null})"),
         "core:frequency of captures[0] is not a number"},
        {with_capture(R"({"core:header_bytes": 12})"), "core:header_bytes of captures[0]"},
        {with_capture("7"), "captures[0] is not an object"},
        {meta(good_global, "{}"), "captures is not a list"},
        {with_annotation(R"({"core:sample_start": 990, "core:sample_count": 11})"),
         "annotations[1] covers samples 990 to 1001, but the data file has 1000"},
        {with_annotation(R"({"core:sample_start": 1000})"), "annotations[1] covers samples 1000"},
        {with_annotation(R"({"core:sample_start": -1})"), "is -1, not a count of samples"},
        {with_annotation(R"({"core:sample_start": 1.5})"), "is 1.5, not a count of samples"},
        {with_annotation(R"({"core:sample_count": 4})"),
         "core:sample_start of annotations[1] is missing"},
        {with_annotation(R"({"core:sample_start": 1, "core:label": 5})"), "is not a text"},
        {with_annotation(R"({"core:sample_start": 1, "core:freq_lower_edge": 9,
                             "core:freq_upper_edge": 8})"),
         "core:freq_lower_edge of annotations[1] is above"},
        {"{\"global\":\n 12", "is not JSON"},
        {"[]", "no SigMF metadata"},
        {"", "is not JSON"},
        {meta(R"("core:datatype": "cu8", "core:sample_rate": 1e999)"), "1e999"},
    };
    for (const Case& c : cases) {
        const std::string path = write_sigmf(folder, c.text);
        EXPECT_SAYS(failure(path), path, c.says);
    }
    const std::string touching =
        with_annotation(R"({"core:sample_start": 990, "core:sample_count": 10})");
    EXPECT_EQ(failure(write_sigmf(folder, touching)), "no error");
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
    EXPECT_SAYS(failure(data), data, "its 3999 bytes are not whole cs16 samples of 4 bytes");
    fs::resize_file(data, 0);
    EXPECT_SAYS(failure(data), data, "is empty");
    EXPECT_SAYS(failure(data, "cu8"), folder.at("r.sigmf-meta"), "--format is for raw samples");
}

} // namespace

// The report says what the analysis holds, in the units it names.
#include "waterfall/report.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace waterfall;

namespace {

Analysis made_up()
{
    Analysis a;
    a.recording.name = "made up";
    a.recording.kind = "raw";
    a.recording.format = Format::cs16;
    a.recording.coding = "cs16";
    a.recording.rate = 2e6;
    a.recording.center = 1090e6;
    a.samples = 1000000;
    a.frames = 900;
    a.rate = 1e6;
    a.bin_hz = 1000;
    a.noise_hz = 1500;
    a.first_hz = 1089.5e6;
    a.mean_db.assign(1000, -90);
    a.floor_db = -91.234;
    a.levels.mean_db = -20.5;
    a.levels.peak = 0.5;
    a.levels.mean_abs = 0.125;
    a.levels.parts = 2000000;
    a.levels.clipped = 20000;
    a.lines = {{1089.934e6, -26.1, 65.1, -25.0, 9660, 1089.93e6, 1089.94e6}};
    a.waterfall = {700, 1000, 2, -100, -20, {}};
    a.timings = {0.4, 0.1, 0.8, 0.32, 0.16, 0.08}; // two threads
    a.threads = 2;
    return a;
}

TEST(WaterfallReport, JsonHoldsTheFigures)
{
    const nlohmann::json j = to_json(made_up(), true);
    EXPECT_FALSE(to_json(made_up()).contains("throughput"));
    EXPECT_FALSE(j["levels_installed"].empty());
    EXPECT_EQ(j["recording"]["name"], "made up");
    EXPECT_EQ(j["recording"]["format"], "cs16");
    EXPECT_EQ(j["recording"]["samples"], 1000000);
    EXPECT_EQ(j["recording"]["seconds"], 0.5);
    EXPECT_EQ(j["recording"]["interrupted"], false);
    EXPECT_EQ(j["settings"]["fft"], 2048);
    EXPECT_EQ(j["settings"]["frames"], 900);
    EXPECT_EQ(j["settings"]["rows"], 700);
    EXPECT_EQ(j["settings"]["low_hz"], 1089.4995e6);
    EXPECT_EQ(j["settings"]["high_hz"], 1090.4995e6);
    EXPECT_TRUE(j["settings"]["channel_hz"].is_null());
    EXPECT_EQ(j["floor"]["level_dbfs"], -91.23);
    EXPECT_EQ(j["floor"]["density_dbfs_per_hz"], -122.99); // 10 log 1500 = 31.76
    EXPECT_EQ(j["levels"]["mean_dbfs"], -20.5);
    EXPECT_EQ(j["levels"]["peak_dbfs"], -6.02);
    EXPECT_EQ(j["levels"]["clipped_share"], 0.01);
    EXPECT_EQ(j["levels"]["mean_magnitude"], 0.125);
    ASSERT_EQ(j["lines"].size(), 1U);
    EXPECT_EQ(j["lines"][0]["frequency_hz"], 1089.934e6);
    EXPECT_EQ(j["lines"][0]["offset_hz"], -66e3);
    EXPECT_EQ(j["lines"][0]["above_floor_db"], 65.1);
    EXPECT_EQ(j["lines"][0]["power_dbfs"], -25.0);
    EXPECT_EQ(j["lines"][0]["bandwidth_hz"], 9660);
    EXPECT_EQ(j["throughput"]["samples_per_second"], 2e6);
    EXPECT_EQ(j["throughput"]["kernels_percent"], 32); // 0.4 of the 0.4 s of the analysis
    EXPECT_EQ(j["throughput"]["fft_percent"], 16);
    EXPECT_EQ(j["throughput"]["reading_percent"], 8);
    EXPECT_EQ(j["throughput"]["pictures_percent"], 20);
    EXPECT_EQ(j["throughput"]["rest_percent"], 24);
}

TEST(WaterfallReport, TableIsShortAndSaysTheSame)
{
    Analysis a = made_up();
    const std::string t = table(a);
    for (const char* const part :
         {"1000000 samples, 500 ms", "900 frames in 700 rows", "clipped 1 %", "floor -91.2 dBFS",
          "1089.934 MHz", "-66 kHz", "9.66 kHz", "-26.1", "65.1", "-25.0", "0.500 s, 2.0 MS/s",
          "kernels 32 %", "FFTW 16 %", "pictures 20 %", "rest 24 %"})
        EXPECT_NE(t.find(part), std::string::npos) << part << "\n" << t;
    EXPECT_EQ(std::count(t.begin(), t.end(), '\n'), 5);
    for (std::size_t at = 0; at < t.size(); at = t.find('\n', at) + 1)
        EXPECT_LE(t.find('\n', at) - at, 100U);
    a.lines.clear();
    a.interrupted = true;
    EXPECT_NE(table(a).find("no line"), std::string::npos);
    EXPECT_NE(table(a).find("interrupted"), std::string::npos);
    a.levels = {};
    a.floor_db = std::nan("");
    EXPECT_NE(table(a).find("silence"), std::string::npos);
    EXPECT_NE(table(a).find("no floor"), std::string::npos);
    EXPECT_TRUE(nlohmann::json::parse(to_json(a).dump())["floor"]["level_dbfs"].is_null());
}

} // namespace

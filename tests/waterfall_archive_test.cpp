// Archives: read as the files in them are, and refused where they are made to do harm.
#include "waterfall_files.h"

#include <archive.h>
#include <archive_entry.h>
#include <cstring>
#include <functional>

using namespace waterfall;

namespace {

const std::string meta =
    R"({"global": {"core:datatype": "ci16_le", "core:sample_rate": 1000}, "captures": [], "annotations": []})";

struct File {
    std::string name, content;
    std::function<void(archive_entry*)> change;
};

// filter: of ARCHIVE_FILTER_...
std::string write_tar(const Folder& folder, const std::string& name, int filter,
                      const std::vector<File>& files)
{
    archive* const a = archive_write_new();
    EXPECT_EQ(archive_write_add_filter(a, filter), ARCHIVE_OK);
    archive_write_set_format_pax_restricted(a);
    EXPECT_EQ(archive_write_open_filename(a, folder.at(name).c_str()), ARCHIVE_OK);
    for (const File& file : files) {
        archive_entry* const entry = archive_entry_new();
        archive_entry_set_pathname(entry, file.name.c_str());
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_size(entry, static_cast<la_int64_t>(file.content.size()));
        if (file.change)
            file.change(entry);
        EXPECT_EQ(archive_write_header(a, entry), ARCHIVE_OK);
        archive_write_data(a, file.content.data(), file.content.size());
        archive_entry_free(entry);
    }
    archive_write_free(a);
    return folder.at(name);
}

std::string samples()
{
    const Bytes bytes = pattern(400000);
    return {bytes.begin(), bytes.end()};
}

constexpr int filters[] = {ARCHIVE_FILTER_NONE, ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_XZ,
                           ARCHIVE_FILTER_ZSTD};

TEST(WaterfallArchive, SigmfInEveryOrderAndCompression)
{
    const Folder folder;
    for (const int filter : filters)
        for (const bool meta_first : {true, false}) {
            std::vector<File> files = {{"notes.txt", "notes", {}},
                                       {"r/r.sigmf-meta", meta, {}},
                                       {"r/r.sigmf-data", samples(), {}}};
            if (!meta_first)
                std::swap(files[1], files[2]);
            const std::string path = write_tar(folder, "x.sigmf", filter, files);
            const auto source = open(path);
            EXPECT_EQ(source->recording().name, "r");
            EXPECT_EQ(source->recording().rate, 1000.0);
            EXPECT_EQ(source->recording().samples, 100000U);
            EXPECT_EQ(read_all(*source, 777), pattern(400000));
            EXPECT_TRUE(source->recording().warnings->lines().empty());
            Request request;
            request.input = path;
            request.start = Span{0, 99000};
            EXPECT_EQ(read_all(*open_source(request), 777).size(), 4000U);
        }
}

TEST(WaterfallArchive, CompressedFiles)
{
    const Folder folder;
    for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_XZ, ARCHIVE_FILTER_ZSTD}) {
        archive* const a = archive_write_new();
        archive_write_add_filter(a, filter);
        archive_write_set_format_raw(a);
        archive_write_open_filename(a, folder.at("x.cs16.gz").c_str());
        archive_entry* const entry = archive_entry_new();
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_write_header(a, entry);
        archive_write_data(a, samples().data(), 400000);
        archive_entry_free(entry);
        archive_write_free(a);
        const auto source = open(folder.at("x.cs16.gz"));
        EXPECT_EQ(source->recording().format, Format::cs16);
        EXPECT_EQ(read_all(*source, 777), pattern(400000));
    }
}

// What is damaged ends there; what is missing is said.
TEST(WaterfallArchive, Truncated)
{
    const Folder folder;
    for (const int filter : filters) {
        const std::string path =
            write_tar(folder, "x.sigmf", filter,
                      {{"r.sigmf-meta", meta, {}}, {"r.sigmf-data", samples(), {}}});
        fs::resize_file(path, fs::file_size(path) * 2 / 3);
        EXPECT_NE(warning(path), "no warning") << filter;
    }
}

TEST(WaterfallArchive, Hostile)
{
    const Folder folder;
    const auto link = [](archive_entry* entry) {
        archive_entry_set_filetype(entry, AE_IFLNK);
        archive_entry_set_symlink(entry, "/etc/hosts");
        archive_entry_set_size(entry, 0);
    };
    const auto device = [](archive_entry* entry) {
        archive_entry_set_filetype(entry, AE_IFCHR);
        archive_entry_set_size(entry, 0);
    };
    const auto hard = [](archive_entry* entry) {
        archive_entry_set_hardlink(entry, "r.sigmf-meta");
        archive_entry_set_size(entry, 0);
    };
    const auto sparse = [](archive_entry* entry) {
        archive_entry_set_size(entry, la_int64_t{1} << 50);
        archive_entry_sparse_add_entry(entry, 0, 1);
    };
    const std::vector<File> cases[] = {
        {{"r.sigmf-data", "", link}, {"r.sigmf-meta", meta, {}}},
        {{"r.sigmf-meta", meta, {}}, {"r.sigmf-data", "", link}},
        {{"r.sigmf-data", "", device}, {"r.sigmf-meta", meta, {}}},
        {{"r.sigmf-meta", meta, {}}, {"r.sigmf-data", "", hard}},
        {{"../r.sigmf-data", "xxxx", {}}, {"../r.sigmf-meta", meta, {}}},
        {{"/r.sigmf-meta", meta, {}}, {"/r.sigmf-data", "xxxx", {}}},
        {{"r.sigmf-meta", meta, {}}, {"r.sigmf-data", "x", sparse}},
    };
    for (const auto& files : cases) {
        const std::string path = write_tar(folder, "x.sigmf", ARCHIVE_FILTER_GZIP, files);
        EXPECT_SAYS(failure(path), path, "is no plain file below its folder: refused");
    }
    const std::string none =
        write_tar(folder, "x.tar", ARCHIVE_FILTER_NONE, {{"a.txt", "text", {}}});
    EXPECT_SAYS(failure(none), none, "holds no .sigmf-meta");
    const std::string half =
        write_tar(folder, "x.tar", ARCHIVE_FILTER_NONE, {{"a.sigmf-meta", meta, {}}});
    EXPECT_SAYS(failure(half), half, "holds no a.sigmf-data");
    std::vector<File> many(10001, File{"a", "", {}});
    const std::string path = write_tar(folder, "x.tar.gz", ARCHIVE_FILTER_GZIP, many);
    EXPECT_SAYS(failure(path), path, "more than 10000 entries");
}

} // namespace

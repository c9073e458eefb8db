// Archives with a SigMF recording in them, and single files that are compressed. Nothing is unpacked: what is
// read is what the kernels see.
#include "waterfall/source_parts.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <utility>

namespace waterfall {
namespace {

constexpr int most_entries = 10000;

// One walk through an archive.
class Walk {
public:
    Walk(std::unique_ptr<ByteStream> bytes, std::string shown)
        : bytes_(std::move(bytes)), shown_(std::move(shown)), archive_(archive_read_new())
    {
        if (archive_ == nullptr)
            throw std::bad_alloc();
        archive_read_support_filter_gzip(archive_);
        archive_read_support_filter_xz(archive_);
        archive_read_support_filter_zstd(archive_);
        archive_read_support_format_tar(archive_);
        archive_read_support_format_raw(archive_);
        if (archive_read_open2(archive_, this, nullptr, on_read, on_skip, nullptr) != ARCHIVE_OK)
            fail();
    }
    ~Walk() { archive_read_free(archive_); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    Walk(Walk&&) = delete;
    Walk& operator=(Walk&&) = delete;

    // The next file, or false at the end.
    bool next()
    {
        archive_entry* entry = nullptr;
        for (;;) {
            if (++entries_ > most_entries)
                throw Error(fmt::format("{}: has more than {} entries", shown_, most_entries));
            const int status = archive_read_next_header(archive_, &entry);
            if (status == ARCHIVE_EOF)
                return false;
            if (status != ARCHIVE_OK && status != ARCHIVE_WARN)
                fail();
            const char* const name = archive_entry_pathname(entry);
            name_ = name == nullptr ? "" : name;
            size_ = archive_entry_size_is_set(entry) != 0 && !is_single()
                        ? std::optional(static_cast<std::uint64_t>(
                              std::max<la_int64_t>(archive_entry_size(entry), 0)))
                        : std::nullopt;
            if (archive_entry_filetype(entry) == AE_IFDIR)
                continue;
            check(entry);
            return true;
        }
    }

    const std::string& name() const { return name_; }
    std::optional<std::uint64_t> size() const { return size_; }
    // A compressed file that is no archive.
    bool is_single() const { return archive_format(archive_) == ARCHIVE_FORMAT_RAW; }
    bool interrupted() const { return bytes_->interrupted(); }

    // Of the file; fewer than wanted only at its end.
    std::size_t read(void* to, std::size_t wanted)
    {
        std::size_t got = 0;
        while (got != wanted && !ended_) {
            const la_ssize_t n =
                archive_read_data(archive_, static_cast<char*>(to) + got, wanted - got);
            if (n < 0 && got == 0 && read_ == 0)
                fail();
            ended_ = n <= 0; // what is damaged ends there: its reader knows how much is missing
            got += n > 0 ? static_cast<std::size_t>(n) : 0;
        }
        read_ += got;
        return got;
    }

private:
    [[noreturn]] void fail() const
    {
        const char* const why = archive_error_string(archive_);
        throw Error(
            fmt::format("{}: cannot be read: {}", shown_, why == nullptr ? "damaged" : why));
    }

    // Files with plain names below the archive's own folder, and nothing that stands for more than is there.
    void check(archive_entry* entry) const
    {
        const std::filesystem::path path(name_);
        const bool outside =
            path.is_absolute() || std::find(path.begin(), path.end(), "..") != path.end();
        if (outside || (!is_single() && archive_entry_filetype(entry) != AE_IFREG) ||
            archive_entry_hardlink(entry) != nullptr || archive_entry_sparse_count(entry) != 0)
            throw Error(fmt::format("{}: its entry '{}' is no plain file below its folder: refused",
                                    shown_, name_));
    }

    static la_ssize_t on_read(archive*, void* self, const void** buffer)
    {
        auto* const walk = static_cast<Walk*>(self);
        *buffer = walk->block_.data();
        try {
            return static_cast<la_ssize_t>(
                walk->bytes_->read(walk->block_.data(), walk->block_.size()));
        } catch (const Error& error) {
            archive_set_error(walk->archive_, EIO, "%s", error.what());
            return ARCHIVE_FATAL;
        }
    }

    static la_int64_t on_skip(archive*, void* self, la_int64_t wanted)
    {
        auto* const walk = static_cast<Walk*>(self);
        const std::optional<std::uint64_t> left =
            walk->bytes_->left(); // what is damaged may end before
        const auto bytes = static_cast<std::uint64_t>(std::max<la_int64_t>(wanted, 0));
        return left && bytes <= *left ? static_cast<la_int64_t>(walk->bytes_->skip(bytes)) : 0;
    }

    std::unique_ptr<ByteStream> bytes_;
    std::string shown_;
    archive* archive_;
    std::array<char, 65536> block_{};
    std::string name_;
    std::optional<std::uint64_t> size_;
    int entries_ = 0;
    std::uint64_t read_ = 0;
    bool ended_ = false;
};

// The file at which a walk stands.
class EntryBytes : public ByteStream {
public:
    explicit EntryBytes(std::unique_ptr<Walk> walk) : walk_(std::move(walk)), size_(walk_->size())
    {
    }
    bool interrupted() const override { return walk_->interrupted(); }

private:
    std::size_t fetch(void* to, std::size_t wanted) override
    {
        const std::size_t got = walk_->read(to, wanted);
        if (size_)
            *size_ -= std::min<std::uint64_t>(*size_, got);
        return got;
    }
    std::optional<std::uint64_t> rest() override { return size_; }

    std::unique_ptr<Walk> walk_;
    std::optional<std::uint64_t> size_;
};

std::unique_ptr<ByteStream> find(std::unique_ptr<Walk> walk, const std::string& shown,
                                 const std::string& name)
{
    while (walk->next())
        if (walk->name() == name)
            return std::make_unique<EntryBytes>(std::move(walk));
    throw Error(fmt::format("{}: holds no {}", shown, name));
}

// A compressed file is what its name says without the last extension.
Opened open_single(const Request& request, std::unique_ptr<Walk> walk, const std::string& shown)
{
    Request inner = request;
    if (request.input != "-")
        inner.input = request.input.substr(0, request.input.rfind('.'));
    std::unique_ptr<ByteStream> bytes = std::make_unique<EntryBytes>(std::move(walk));
    const std::optional<Coding> coding = coding_by_name(inner.input);
    if (!request.format && !coding) {
        if (Opened sound = open_plain_sound(bytes, inner))
            return sound;
        throw Error(shown +
                    ": unknown format; --format says what raw samples are: " + coding_names());
    }
    return open_raw(inner, std::move(bytes), coding, "the file's name");
}

} // namespace

bool looks_like_archive(const std::string& start)
{
    return start.starts_with("\x1f\x8b") ||
           start.starts_with(std::string_view("\xfd"
                                              "7zXZ\0",
                                              6)) ||
           start.starts_with("\x28\xb5\x2f\xfd") ||
           (start.size() > 262 && start.compare(257, 5, "ustar") == 0);
}

Opened open_archive(const Request& request, std::unique_ptr<ByteStream> bytes)
{
    const std::string shown = named(request.input, "", request).input;
    // The metadata may stand behind the data, so there are two walks: what a pipe brings is kept for the second.
    std::function<std::unique_ptr<ByteStream>()> again;
    if (request.input != "-" && bytes->left())
        again = [&] { return open_bytes(request.input, shown, request.stop); };
    else
        again = [kept = std::make_shared<Spool>(*bytes), &request] {
            return kept->open(request.stop);
        };

    auto walk = std::make_unique<Walk>(again(), shown);
    while (walk->next()) {
        if (walk->is_single())
            return open_single(request, std::move(walk), shown);
        if (!ends_with(walk->name(), ".sigmf-meta"))
            continue;
        const std::string meta = walk->name();
        const std::string text = EntryBytes(std::move(walk)).peek(most_sigmf_text);
        const std::filesystem::path folder = std::filesystem::path(meta).parent_path();
        return open_sigmf(request, (std::filesystem::path(shown) / meta).string(), text,
                          [&](const std::string& name) {
                              return find(std::make_unique<Walk>(again(), shown), shown,
                                          (folder / name).string());
                          });
    }
    throw Error(shown + ": holds no .sigmf-meta");
}

} // namespace waterfall

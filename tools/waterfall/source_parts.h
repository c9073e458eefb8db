// tools/waterfall/source_parts.h: what open_source() chooses from, and what the sources share.
#ifndef WATERFALL_SOURCE_PARTS_H
#define WATERFALL_SOURCE_PARTS_H

#include "waterfall/bytes.h"
#include "waterfall/source.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace waterfall {

/// A recording before a part of it is chosen: its annotations count samples, not seconds, and have infinite
/// edges where the metadata gives none; `center` is that of the first capture.
struct Whole {
    Recording recording;
    std::vector<Capture> captures; ///< by their start, the first at 0; may be empty
};

class WholeSource : public Source {
public:
    const std::vector<Capture>& captures() const { return whole_.captures; }
    const Recording& recording() const override { return whole_.recording; }
    /// What can only be said once the number of samples is known.
    void complete(const std::function<void(Whole&)>& add) { add(whole_); }

protected:
    explicit WholeSource(Whole whole) : whole_(std::move(whole)) {}
    Whole whole_;
};
using Opened = std::unique_ptr<WholeSource>;

Opened open_generated();

/// Bytes that belong to no sample, before the sample with that number.
struct Hole {
    std::uint64_t sample, bytes;
};

/// How samples lie in their bytes.
struct Layout {
    Coding coding;
    std::uint64_t channels = 1, channel = 0; ///< interleaved; the one that is read
    std::vector<Hole> holes;                 ///< by their sample
    std::uint64_t trailing = 0;              ///< bytes after the last sample
    std::optional<std::uint64_t> announced;  ///< bytes of samples, by the header
};

/// The samples in `bytes`; the recording's format, coding and number of samples come from the layout.
Opened open_samples(std::unique_ptr<ByteStream> bytes, Whole whole, Layout layout);

/// Raw samples of the request's format, or else of `coding`, for what reason is said.
Opened open_raw(const Request& request, std::unique_ptr<ByteStream> bytes,
                std::optional<Coding> coding, const std::string& because);

/// Plain sound, read as it comes; nothing where its start shows none, and `bytes` is as before.
Opened open_plain_sound(std::unique_ptr<ByteStream>& bytes, const Request& request);
/// Whether bytes begin like sound of some kind.
bool looks_like_sound(const std::string& start);
/// What else libsndfile opens, in a file that can be sought in and is closed in the end.
Opened open_other_sound(int file, const Request& request);

/// Bytes of metadata that are looked at: its tree takes some ten times as many.
constexpr std::size_t most_sigmf_text = 64U << 20U;
/// By the name of either file or neither's extension.
Opened open_sigmf(const Request& request);
/// SigMF of which the metadata is at hand. `data` opens the file of that name beside it.
Opened open_sigmf(const Request& request, const std::string& meta, const std::string& text,
                  const std::function<std::unique_ptr<ByteStream>(const std::string& name)>& data);

/// An archive with SigMF in it, or a compressed file.
bool looks_like_archive(const std::string& start);
Opened open_archive(const Request& request, std::unique_ptr<ByteStream> bytes);

/// Channels of `count`, the request's or the first, from 0. Throws Error where there is no such channel.
std::uint64_t chosen_channel(Recording& recording, const Request& request, std::uint64_t count);

/// The part of a recording that is asked for, with finite floats.
std::unique_ptr<Source> part_of(Opened whole, const Request& request);

/// "path: doing: reason of errno".
Error system_error(const std::string& path, const std::string& what, int number);

/// Name without folder and without the extension.
std::string title_of(const std::string& path);

std::string lower(std::string text);
/// In capitals or not.
bool ends_with(const std::string& text, std::string_view end);

/// A recording of that name, with --strict's warnings.
Recording named(const std::string& input, const char* kind, const Request& request);

/// What something beside the samples says about them, and what that is.
struct Hint {
    std::string from; ///< "the file's name"
    std::optional<double> rate, center;
    std::optional<std::int64_t> time;
};

/// What a file's name says, as receivers write it: "..._20260102_030405Z_7100kHz_IQ".
Hint hint_of(const std::string& path);
/// The coding that a file's name says, by its extension or as "..._fc"; or by the look of its bytes.
std::optional<Coding> coding_by_name(const std::string& path);
Coding coding_by_look(const std::string& start);

/// --rate and --center into `recording`, else the input's own, else those of the hints, in order; a line
/// in `assumed` for what is not the input's own, for what contradicts it, and for what nothing says.
void settle(Recording& recording, const Request& request, std::optional<double> rate,
            std::optional<double> center, const std::vector<Hint>& hints = {});

} // namespace waterfall

#endif // WATERFALL_SOURCE_PARTS_H

// tools/waterfall/bytes.h: bytes in their order, from a file, a pipe or an archive.
#ifndef WATERFALL_BYTES_H
#define WATERFALL_BYTES_H

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace waterfall {

class ByteStream {
public:
    virtual ~ByteStream() = default;

    /// Fewer than wanted only at the end. Throws Error.
    std::size_t read(void* to, std::size_t wanted);
    /// What comes next, up to so many bytes; it is still there afterwards.
    const std::string& peek(std::size_t wanted);
    /// Bytes skipped: fewer than wanted only at the end.
    std::uint64_t skip(std::uint64_t wanted);
    /// Bytes up to the end; nothing where that is not known.
    std::optional<std::uint64_t> left();
    /// Whether a signal has made the end.
    virtual bool interrupted() const { return false; }

private:
    virtual std::size_t fetch(void* to, std::size_t wanted) = 0;
    /// Seeks forward, if it can.
    virtual bool leap(std::uint64_t /*bytes*/) { return false; }
    virtual std::optional<std::uint64_t> rest() { return std::nullopt; }

    std::string ahead_; // peeked at
};

/// The file at `path`, "-" for standard input; `shown` names it in messages. Where *stop is set by a signal,
/// the bytes end. Throws Error.
std::unique_ptr<ByteStream> open_bytes(const std::string& path, const std::string& shown,
                                       const volatile std::sig_atomic_t* stop);

/// All that is left of some bytes, in a nameless file in the folder for temporary ones: what a pipe brings
/// can be sought in then, and read again. Throws Error.
class Spool {
public:
    explicit Spool(ByteStream& bytes);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;
    Spool(Spool&&) = delete;
    Spool& operator=(Spool&&) = delete;

    /// From the start; one reader at a time.
    std::unique_ptr<ByteStream> open(const volatile std::sig_atomic_t* stop) const;
    /// The same for who closes it.
    int descriptor() const;

private:
    int file_;
};

} // namespace waterfall

#endif // WATERFALL_BYTES_H

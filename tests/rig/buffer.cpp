#include "rig/buffer.h"

#include <algorithm>
#include <stdexcept>
#include <sys/mman.h>

namespace rig {
namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t canary_bytes = 192; // on either side, as far as the room goes

unsigned char canary(const unsigned char* at)
{
    return static_cast<unsigned char>(reinterpret_cast<std::uintptr_t>(at) * 37 + 91);
}

} // namespace

Arena::Arena(std::size_t bytes)
{
    const std::size_t room = (bytes + 128 + page - 1) / page * page;
    map_bytes_ = room + 2 * page;
    void* map = mmap(nullptr, map_bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED ||
        mprotect(static_cast<char*>(map) + page, room, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("no memory for a test array");
    map_ = static_cast<unsigned char*>(map);
    begin_ = map_ + page;
    end_ = begin_ + room;
    low_ = first_ = last_ = high_ = begin_;
}

Arena::~Arena() { munmap(map_, map_bytes_); }

void* Arena::place(std::size_t bytes, std::size_t offset, Edge edge)
{
    if (offset >= 64 || bytes > capacity())
        throw std::runtime_error("a test array does not fit its arena");
    const auto room = static_cast<std::size_t>(end_ - begin_);
    if (edge == Edge::start)
        first_ = begin_ + offset;
    else
        first_ = begin_ + (room - bytes - offset) / 64 * 64 + offset;
    last_ = first_ + bytes;
    low_ = first_ - std::min(canary_bytes, static_cast<std::size_t>(first_ - begin_));
    high_ = last_ + std::min(canary_bytes, static_cast<std::size_t>(end_ - last_));
    for (unsigned char* at = low_; at != first_; ++at)
        *at = canary(at);
    for (unsigned char* at = last_; at != high_; ++at)
        *at = canary(at);
    return first_;
}

testing::AssertionResult Arena::intact() const
{
    for (const unsigned char* at = low_; at != first_; ++at)
        if (*at != canary(at))
            return testing::AssertionFailure()
                   << "written " << first_ - at << " bytes before the array";
    for (const unsigned char* at = last_; at != high_; ++at)
        if (*at != canary(at))
            return testing::AssertionFailure()
                   << "written " << at - last_ << " bytes past the array";
    return testing::AssertionSuccess();
}

} // namespace rig

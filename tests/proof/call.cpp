#include "proof/proof.h"

#include "rig/gate.h"
#include "rig/model.h"
#include "stats_patterns.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <type_traits>

namespace proof {
namespace {

constexpr std::size_t pool_elements = 8192;
constexpr std::size_t slot_bytes = (2 * most_elements + 64) * 8;

template <class T>
T special_value(unsigned which)
{
    if constexpr (std::is_floating_point_v<T>) {
        using F = model::Format<T>;
        using B = typename F::Bits;
        const B values[special_count / 2] = {
            F::exponent | F::quiet | B{0x1234}, // a quiet NaN
            F::exponent | B{0x567},             // a signalling one
            B{0},
            F::exponent, // infinity
            B{1},        // smallest subnormal
            F::mantissa + 1,
            F::exponent - 1, // largest finite
            rig::bits_of(T(2147483648.0)),
        };
        return model::from_bits<T>(values[which % (special_count / 2)] |
                                   (which >= special_count / 2 ? F::sign : B{0}));
    } else {
        using L = std::numeric_limits<T>;
        const T values[] = {L::min(), L::max(), T(0), T(1), T(L::min() + 1), T(L::max() - 1)};
        return values[which % std::size(values)];
    }
}

/// Subnormals and the numbers above them; if `crossed`, also such as make these of products.
template <class T>
T small_value(rig::Random& random, bool crossed)
{
    using F = model::Format<T>;
    using B = typename F::Bits;
    constexpr std::uint64_t bias = std::numeric_limits<T>::max_exponent - 1;
    constexpr std::uint64_t digits = std::numeric_limits<T>::digits;
    const auto number = [&](std::uint64_t exponent, std::uint64_t mantissa) {
        const B sign = random.below(2) != 0 ? F::sign : B{0};
        return model::from_bits<T>(sign | static_cast<B>(exponent << (digits - 1)) |
                                   (static_cast<B>(mantissa) & F::mantissa));
    };
    const std::uint64_t any = random.bits();
    if (crossed && any % 2 == 0)
        return number(bias - random.below(8), any >> 8);
    if (crossed && any % 8 == 1)
        return number(bias / 2 - random.below(digits), any >> 8);
    switch (any >> 3 & 3) {
    case 0:
        return number(0, any >> 8);
    case 1:
        return number(0, any >> 8 & 7);
    case 2:
        return number(1 + random.below(3), any >> 8);
    default: // of few bits: the sums come near zero
        return number(1 + random.below(2), (any >> 8 & 7) << (digits - 4));
    }
}

template <class T>
T halves_value(rig::Random& random)
{
    constexpr T last = std::numeric_limits<T>::epsilon();
    static constexpr T few[] = {T(1),         1 + last,       2 - last, T(1.5),
                                1 + 2 * last, last,           last / 2, last / 2 * (1 + last),
                                last / 4,     T(3) * last / 4};
    const T x = few[random.below(std::size(few))];
    return random.below(2) != 0 ? -x : x;
}

template <class T>
T value(rig::Random& random, Data kind, bool second_half)
{
    if constexpr (std::is_floating_point_v<T>) {
        if (kind == Data::small)
            return small_value<T>(random, second_half);
        if (kind == Data::halves)
            return halves_value<T>(random);
    }
    return patterns::make<T>(random, kind == Data::fitting ? patterns::Pattern::ordinary
                                                           : static_cast<patterns::Pattern>(kind));
}

/// Many values of a kind, made once and the same in every run; arrays are slices of it.
template <class T>
const T* pool(Data data)
{
    static const auto all = [] {
        std::vector<std::vector<T>> pools(data_kinds, std::vector<T>(pool_elements));
        for (std::size_t k = 0; k < data_kinds; ++k) {
            rig::Random random = rig::Random::fixed(1000 + k);
            const auto kind = static_cast<Data>(k);
            const bool any = kind == Data::bits || (std::is_integral_v<T> && kind > Data::ties);
            for (std::size_t i = 0; i < pool_elements; ++i) {
                T& x = pools[k][i];
                const std::uint64_t bits = random.bits();
                if (any)
                    std::memcpy(&x, &bits, sizeof x);
                else
                    x = value<T>(random, kind, i >= pool_elements / 2);
            }
        }
        return pools;
    }();
    return all[static_cast<std::size_t>(data)].data();
}

struct Slot {
    rig::Buffer<unsigned char> buffer{slot_bytes};
    std::vector<std::uint64_t> want = std::vector<std::uint64_t>(slot_bytes / 8);
};

Slot& slot(std::size_t i)
{
    static std::array<Slot, most_pointers> slots;
    return slots.at(i);
}

void* resolve(const Kernel& kernel, Level level, bool behind_gate)
{
    static std::map<std::pair<const Kernel*, Level>, void*> known;
    void*& address = known[{&kernel, level}];
    if (address == nullptr) {
        void* symbol = rig::at(level).symbol(kernel.name);
        address = kernel.function ? symbol : *static_cast<void**>(symbol);
    }
    return behind_gate ? const_cast<void*>(rig::behind_gate(address)) : address;
}

} // namespace

Call::Call(const Kernel& kernel, Level at_level, const Case& given)
    : level(at_level), n(given.n), kernel_(kernel), case_(given),
      function_(resolve(kernel, at_level, given.trace != nullptr)),
      random_(rig::Random::fixed(given.seed)), raw_(given.raw)
{
}

template <class T>
Array<T> Call::place(std::size_t size)
{
    const std::size_t i = arrays_++;
    const std::size_t offset =
        i < kernel_.steps.size() ? case_.at[i] : random_.below(64 / sizeof(T)) * sizeof(T);
    Slot& s = slot(i);
    void* const at = s.buffer.place(size * sizeof(T), offset, case_.edge);
    if (record != nullptr)
        record->arrays.push_back({sizeof(T), reinterpret_cast<std::uintptr_t>(at) % 64, {}, {}});
    return {static_cast<T*>(at), reinterpret_cast<T*>(s.want.data()), size};
}

template <class T>
Array<T> Call::input(std::size_t size, const std::function<void(T*, std::size_t)>& fitting)
{
    const Array<T> array = place<T>(size);
    const unsigned number = inputs_++;
    const std::size_t bytes = size * sizeof(T);
    void* const to = array.at;
    if (case_.data == Data::fitting && fitting)
        fitting(array.at, size);
    else if (bytes != 0)
        std::memcpy(to, pool<T>(case_.data) + random_.below(pool_elements - size + 1), bytes);
    const std::size_t over = std::min(raw_.size(), bytes);
    if (over != 0)
        std::memcpy(to, raw_.data(), over);
    raw_ = raw_.subspan(over);
    for (const Plant& plant : case_.plants)
        if (plant.where == number && size != 0)
            array.at[plant.place % size] = special_value<T>(plant.value);
    if (bytes != 0)
        std::memcpy(static_cast<void*>(array.want), to, bytes);
    return array;
}

template <class T>
Array<T> Call::output(std::size_t size)
{
    const Array<T> array = place<T>(size);
    const auto noise = static_cast<int>(0x40 + random_.below(0x80));
    std::memset(static_cast<void*>(array.at), noise, size * sizeof(T));
    std::memset(static_cast<void*>(array.want), noise, size * sizeof(T));
    return array;
}

template <class T>
T Call::number()
{
    const unsigned number = Plant::scalar + numbers_++;
    for (const Plant& plant : case_.plants)
        if (plant.where == number)
            return special_value<T>(plant.value);
    T value = pool<T>(case_.data)[random_.below(pool_elements)];
    if (raw_.size() >= sizeof value) {
        std::memcpy(&value, raw_.data(), sizeof value);
        raw_ = raw_.subspan(sizeof value);
    }
    if (record != nullptr)
        record->numbers.push_back(bytes_of(value));
    return value;
}

void Call::expect(const std::function<void()>& model)
{
    _mm_setcsr(case_.mxcsr & ~rig::exception_flags);
    model();
    raised_ |= _mm_getcsr() & rig::exception_flags;
    _mm_setcsr(rig::usual_mxcsr);
}

void Call::run(Level armed_as, const std::function<void()>& body)
{
    if (case_.trace != nullptr)
        armed_as = Level::base; // between steps the upper halves are ours
    note(&Record::Piece::before);
    unsigned flags = 0;
    const auto call = [&] {
        if (case_.trace == nullptr)
            body();
        else
            *case_.trace = rig::traced(rig::at(level), body);
    };
    if (const auto fine = rig::armed(armed_as, call, case_.mxcsr, &flags); !fine) {
        mix(0xBAD);
        fail(fine.message());
    } else if ((raised_ & ~flags) != 0) {
        fail("MXCSR exception flags not raised: " + std::to_string(raised_ & ~flags));
    }
    note(&Record::Piece::after);
    compare();
}

void Call::faults(const std::function<void()>& body)
{
    if (case_.trace != nullptr)
        return outside();
    note(&Record::Piece::before);
    if (!rig::faults(body, case_.mxcsr)) {
        mix(0xBAD);
        fail("no fault where the contract has one");
    }
    if (record != nullptr)
        record->faulted = true;
    compare();
}

void Call::note(std::vector<unsigned char> Record::Piece::*when)
{
    if (record != nullptr)
        for (std::size_t i = 0; i < arrays_; ++i) {
            const auto& buffer = slot(i).buffer;
            (record->arrays[i].*when).assign(buffer.data(), buffer.data() + buffer.bytes());
        }
}

void Call::compare()
{
    for (const Forgotten& f : forgotten_) {
        std::memset(f.at, 0, f.bytes);
        std::memset(f.want, 0, f.bytes);
    }
    for (std::size_t i = 0; i < arrays_; ++i) {
        const Slot& s = slot(i);
        mix(s.buffer.data(), s.buffer.bytes());
        if (const auto whole = s.buffer.intact(); !whole)
            fail("array " + std::to_string(i) + ": " + whole.message());
        const auto* const want = reinterpret_cast<const unsigned char*>(s.want.data());
        if (const auto same = rig::same_bits(want, s.buffer.data(), s.buffer.bytes()); !same)
            fail("array " + std::to_string(i) + ", in bytes: " + same.message());
    }
}

void Call::mix(std::uint64_t word)
{
    hash_ = (hash_ ^ word) * 0x9E3779B97F4A7C15U;
    hash_ ^= hash_ >> 32;
}

void Call::mix(const void* bytes, std::size_t count)
{
    const auto* at = static_cast<const unsigned char*>(bytes);
    for (; count >= 8; count -= 8, at += 8) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        mix(word);
    }
    std::uint64_t rest = count;
    std::memcpy(reinterpret_cast<unsigned char*>(&rest) + 1, at, count);
    mix(rest);
}

void Call::fail(const std::string& what)
{
    if (failure_.empty())
        failure_ = what;
}

#define INSTANTIATE(T)                                                                             \
    template Array<T> Call::input<T>(std::size_t, const std::function<void(T*, std::size_t)>&);    \
    template Array<T> Call::output<T>(std::size_t);                                                \
    template T Call::number<T>();
INSTANTIATE(float)
INSTANTIATE(double)
INSTANTIATE(std::uint8_t)
INSTANTIATE(std::int16_t)
INSTANTIATE(std::uint16_t)
INSTANTIATE(std::uint32_t)
#undef INSTANTIATE
template Array<std::int64_t> Call::output<std::int64_t>(std::size_t);

} // namespace proof

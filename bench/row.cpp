#include "bench/row.h"

#include <stdexcept>

namespace bench {

std::string Row::key() const
{
    std::string text = group + '/' + name + '/' + level + '/' + size_text(size);
    if (taps != 0)
        text += "/taps=" + std::to_string(taps);
    return text + '/' + place + '/' + lengths;
}

const Rival* Row::rival(const std::string& wanted) const
{
    for (const Rival& r : rivals)
        if (r.name == wanted)
            return &r;
    return nullptr;
}

std::string size_text(std::size_t n)
{
    if (n >= 1U << 20 && n % (1U << 20) == 0)
        return std::to_string(n >> 20) + "Mi";
    if (n >= 1U << 10 && n % (1U << 10) == 0)
        return std::to_string(n >> 10) + "Ki";
    return std::to_string(n);
}

std::size_t size_of(const std::string& text)
{
    std::size_t end = 0;
    if (text.empty() || text[0] < '0' || text[0] > '9')
        throw std::invalid_argument("not a size: " + text);
    const std::size_t n = std::stoul(text, &end);
    const std::string unit = text.substr(end);
    if (unit != "" && unit != "Ki" && unit != "Mi")
        throw std::invalid_argument("not a size: " + text + " (64, 16Ki, 4Mi)");
    return n << (unit == "Ki" ? 10 : unit == "Mi" ? 20 : 0);
}

} // namespace bench

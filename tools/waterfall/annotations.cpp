#include "waterfall/annotations.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace waterfall {

namespace {

constexpr Colour halo{0x10, 0x10, 0x20};

/// Pixels, both ends included.
struct Box {
    int left, top, right, bottom;

    bool operator==(const Box&) const = default;
    bool touches(const Box& other, int gap) const
    {
        return left <= other.right + gap && other.left <= right + gap &&
               top <= other.bottom + gap && other.top <= bottom + gap;
    }
    bool contains(const Box& other, int margin) const
    {
        return other.left >= left + margin && other.right <= right - margin &&
               other.top >= top + margin && other.bottom <= bottom - margin;
    }
};

struct Marked {
    Box box; // what is marked; its outline lies one pixel further out
    std::string label;
};

/// The marks of a picture. Neighbours that say the same become one: a burst that is marked piece by
/// piece is one burst in the picture. Of more than can be told apart, the first are kept.
class Marks {
public:
    void add(const Marked& mark)
    {
        const Box& b = mark.box;
        const auto [last, is_new] = last_.try_emplace({b.left, b.right, mark.label}, marks_.size());
        if (!is_new && marks_[last->second].box.touches(b, 2)) {
            Box& same = marks_[last->second].box;
            same.top = std::min(same.top, b.top);
            same.bottom = std::max(same.bottom, b.bottom);
            return;
        }
        constexpr int blur = 4; // pixels
        const bool seen =
            !places_.insert({b.left / blur, b.top / blur, b.right / blur, b.bottom / blur}).second;
        if (seen || marks_.size() == most) {
            ++left_out_;
            if (is_new)
                last_.erase(last);
            return;
        }
        last->second = marks_.size();
        marks_.push_back(mark);
    }

    const std::vector<Marked>& all() const { return marks_; }
    std::size_t left_out() const { return left_out_; }

private:
    static constexpr std::size_t most = 1000;

    std::vector<Marked> marks_;
    std::map<std::tuple<int, int, std::string>, std::size_t> last_; // by both sides and label
    std::set<std::array<int, 4>> places_;
    std::size_t left_out_ = 0;
};

Marks in_plot(const Plot& plot, const Axis& frequency, const Axis& time,
              const std::vector<Annotation>& annotations)
{
    Marks marks;
    for (const Annotation& a : annotations) {
        const double end = a.start + a.length;
        if (end < time.low || a.start > time.high || a.high < frequency.low ||
            a.low > frequency.high)
            continue;
        marks.add({{plot.x(frequency, a.low), plot.y_down(time, a.start), plot.x(frequency, a.high),
                    plot.y_down(time, end)},
                   a.label});
    }
    return marks;
}

/// Long labels end at a comma, or else at a word.
std::string shortened(const std::string& label)
{
    constexpr std::size_t most = 40;
    if (label.size() <= most)
        return label;
    std::size_t whole = most; // not within a character
    while ((static_cast<unsigned char>(label[whole]) & 0xC0U) == 0x80U)
        --whole;
    const std::string start = label.substr(0, whole);
    for (const char* const ends : {",;(", " "}) {
        const std::size_t end = start.find_last_of(ends);
        if (end != std::string::npos && end >= most / 3)
            return start.substr(0, start.find_last_not_of(' ', end - 1) + 1) + "...";
    }
    return start + "...";
}

/// Right of the box, left of it, above, below or within: the first place in the plot that touches
/// neither a box nor another label.
std::optional<Box> free_place(const Plot& plot, const Box& box, int width,
                              const std::vector<Box>& taken)
{
    const Box whole{plot.left, plot.top, plot.left + plot.width - 1, plot.top + plot.height - 1};
    const int height = label_size + 3;
    const int middle = (box.top + box.bottom - label_size) / 2;
    const std::array<std::pair<int, int>, 5> corners{{{box.right + 8, middle},
                                                      {box.left - 8 - width, middle},
                                                      {box.left, box.top - 6 - height},
                                                      {box.left, box.bottom + 6},
                                                      {box.left + 6, box.top + 8}}};
    for (const auto& [left, top] : corners) {
        const Box text{left, top, left + width, top + height};
        const bool within = box.contains(text, 4);
        const bool free = std::none_of(taken.begin(), taken.end(), [&](const Box& other) {
            return other.touches(text, 2) && !(within && other == box);
        });
        if (free && whole.contains(text, 2))
            return text;
    }
    return std::nullopt;
}

} // namespace

void draw_annotations(Canvas& canvas, const Plot& plot, const Axis& frequency, const Axis& time,
                      const std::vector<Annotation>& annotations)
{
    const Marks found = in_plot(plot, frequency, time, annotations);
    const std::vector<Marked>& marks = found.all();
    std::vector<Box> taken;
    for (const Marked& mark : marks) {
        const Box& box = mark.box;
        taken.push_back(box);
        canvas.outline(box.left - 1, box.top - 1, box.right - box.left + 3,
                       box.bottom - box.top + 3, box_colour);
    }
    for (const Marked& mark : marks) {
        const std::string label = shortened(mark.label);
        if (label.empty())
            continue;
        const auto place = free_place(plot, mark.box, text_width(label, label_size), taken);
        if (!place)
            continue;
        canvas.text_with_halo(place->left, place->top + label_size, label, {box_colour, label_size},
                              halo);
        taken.push_back(*place);
    }
    if (found.left_out() != 0)
        canvas.text(plot.left + plot.width, plot.top + plot.height + 52,
                    fmt::format("{} annotations more than can be drawn", found.left_out()),
                    {faint_ink, label_size, Anchor::right});
}

} // namespace waterfall

#include "info/library.h"

#include "info/error.h"
#include "info/names.h"
#include "libsimd.h"
#include "rig/copy.h"

#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fmt/format.h>
#include <set>

namespace info {
namespace {

/// The address of each entry in this process.
const std::map<std::string, const void*>& own_entries()
{
    static const std::map<std::string, const void*> entries = {
#define ENTRY(name) {#name, &(name)},
        INFO_ENTRIES(ENTRY)
#undef ENTRY
    };
    return entries;
}

const void* word_at(const void* entry)
{
    const void* word;
    std::memcpy(&word, entry, sizeof word);
    return word;
}

std::optional<Offset> offset_of(const void* held, const char* base)
{
    if (held == nullptr)
        return std::nullopt;
    return static_cast<const char*>(held) - base;
}

/// The library must export the names that this program knows, and no others.
void check_names(const rig::ElfFile& file, const std::string& path)
{
    std::set<std::string> known(entry_names().begin(), entry_names().end());
    known.insert(function_names().begin(), function_names().end());
    std::set<std::string> exported;
    for (const rig::ElfSymbol& s : file.dynamic)
        if (s.section != SHN_UNDEF)
            exported.insert(s.name);
    for (const std::string& name : known)
        if (!exported.contains(name))
            throw BadLibrary(fmt::format("{}: does not export {}", path, name));
    for (const std::string& name : exported)
        if (!known.contains(name))
            throw BadLibrary(
                fmt::format("{}: exports {}, which this simd-info does not know", path, name));
}

Load load(const rig::ElfFile& file,
          const std::function<rig::Words(std::uint32_t, std::uint32_t)>& cpuid)
{
    Load result;
    const rig::ScriptedCopy copy(
        file,
        [&](const char*, std::uint32_t leaf, std::uint32_t subleaf) {
            // The first query finds anything at all in ECX, and asks leaf 0, which has no sub-leaves.
            const std::uint32_t told = result.asked.empty() ? 0 : subleaf;
            result.asked.push_back({leaf, told, cpuid(leaf, told)});
            return result.asked.back().answer;
        },
        RTLD_DEEPBIND);
    for (const std::string& name : entry_names())
        result.held[name] = offset_of(word_at(copy.symbol(name.c_str())), copy.base());
    return result;
}

} // namespace

const std::vector<std::string>& entry_names()
{
#define NAME(name) #name,
    static const std::vector<std::string> names = {INFO_ENTRIES(NAME)};
    return names;
}

const std::vector<std::string>& function_names()
{
    static const std::vector<std::string> names = {INFO_FUNCTIONS(NAME)};
#undef NAME
    return names;
}

Library::Library()
{
    Dl_info image{};
    if (dladdr(reinterpret_cast<const void*>(fill_f32), &image) == 0 || image.dli_fname == nullptr)
        throw BadLibrary("libsimd.so: cannot tell which file was loaded");
    path_ = image.dli_fname;
    for (const auto& [name, entry] : own_entries())
        own_[name] = offset_of(word_at(entry), static_cast<const char*>(image.dli_fbase));

    try {
        file_.emplace(path_);
        check_names(*file_, path_);
        const auto alone = [&](Level level) {
            const auto processor = rig::Processor::with(1U << static_cast<unsigned>(level));
            return load(*file_,
                        [&](std::uint32_t leaf, std::uint32_t subleaf) {
                            return processor.answer(leaf, subleaf);
                        })
                .held;
        };
        const Held base = alone(Level::base);
        for (const Level level : rig::all_levels)
            for (const auto& [name, offset] : level == Level::base ? base : alone(level))
                if (offset && (level == Level::base || offset != base.at(name)))
                    variants_[name][level] = *offset;
    } catch (const BadLibrary&) {
        throw;
    } catch (const std::exception& e) {
        throw BadLibrary(fmt::format("{}: {}", path_, e.what()));
    }
    if (load_on(this_cpu()).held != own_)
        throw BadLibrary(fmt::format("{}: the file is not what this process has loaded, or its "
                                     "entries have been overwritten",
                                     path_));
}

std::vector<Level> Library::levels(const std::string& entry) const
{
    std::vector<Level> list;
    if (const auto it = variants_.find(entry); it != variants_.end())
        for (const auto& [level, offset] : it->second)
            list.push_back(level);
    return list;
}

std::optional<Level> Library::level_at(const std::string& entry, std::optional<Offset> offset) const
{
    if (const auto it = variants_.find(entry); offset && it != variants_.end())
        for (const auto& [level, at] : it->second)
            if (at == *offset)
                return level;
    return std::nullopt;
}

Load Library::load_on(const Cpu& cpu) const { return load(*file_, cpu.cpuid); }

} // namespace info

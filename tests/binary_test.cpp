// What the shipped file and its objects hold: names, sections, relocations, initialisers.
#include "rig/elf_file.h"
#include "rig/library.h"

#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

using rig::ElfFile;
using rig::ElfSymbol;

const ElfFile& file()
{
    static const ElfFile elf(rig::shipped());
    return elf;
}

const std::set<std::string>& functions()
{
    static const std::set<std::string> names = {"fir_c16_alt", "fir_c32_alt", "fir_c64_alt"};
    return names;
}

std::set<std::string> all_names()
{
    std::set<std::string> names = functions();
    names.insert(rig::entry_names().begin(), rig::entry_names().end());
    return names;
}

const rig::ElfSegment* segment(std::uint32_t type)
{
    for (const rig::ElfSegment& s : file().segments)
        if (s.type == type)
            return &s;
    return nullptr;
}

/// The loaded segment that holds an address.
const rig::ElfSegment* loaded(std::uint64_t address)
{
    for (const rig::ElfSegment& s : file().segments)
        if (s.type == PT_LOAD && address >= s.address && address < s.address + s.size)
            return &s;
    return nullptr;
}

std::vector<std::string> objects()
{
    std::vector<std::string> paths;
    const char* given = std::getenv("LIBSIMD_OBJECTS");
    std::istringstream list(given != nullptr ? given : LIBSIMD_OBJECTS);
    for (std::string path; std::getline(list, path, ':');)
        paths.push_back(path);
    return paths;
}

constexpr std::uint32_t tracked_jumps = 1; // GNU_PROPERTY_X86_FEATURE_1_IBT
constexpr std::uint32_t shadow_stack = 2;  // GNU_PROPERTY_X86_FEATURE_1_SHSTK

/// What the file says that all of its code bears, in the note for the loader of a hardened host.
std::uint32_t bears()
{
    const rig::ElfSection* note = file().section(".note.gnu.property");
    if (note == nullptr)
        return 0;
    const char* at = file().bytes.data() + note->offset + 16; // behind sizes, type and "GNU"
    for (const char* end = at + note->size - 16; at + 12 <= end;) {
        std::uint32_t words[3]; // type, size, value
        std::memcpy(words, at, sizeof words);
        if (words[0] == 0xC0000002U) // GNU_PROPERTY_X86_FEATURE_1_AND
            return words[2];
        at += 8 + (words[1] + 7) / 8 * 8;
    }
    return 0;
}

} // namespace

TEST(binary, exports_exactly_the_53_names)
{
    std::set<std::string> defined;
    for (const ElfSymbol& s : file().dynamic)
        if (s.section != SHN_UNDEF) {
            EXPECT_TRUE(defined.insert(s.name).second) << s.name << " twice";
            EXPECT_EQ(s.visibility, static_cast<unsigned>(STV_DEFAULT)) << s.name;
            EXPECT_EQ(s.binding, static_cast<unsigned>(STB_GLOBAL)) << s.name;
        }
    EXPECT_EQ(all_names().size(), 53U);
    EXPECT_EQ(defined, all_names());
}

TEST(binary, entries_are_one_word_in_bss)
{
    const rig::ElfSection* bss = file().section(".bss");
    ASSERT_NE(bss, nullptr);
    for (const ElfSymbol& s : file().dynamic) {
        if (s.section == SHN_UNDEF)
            continue;
        if (functions().contains(s.name)) {
            EXPECT_EQ(s.type, static_cast<unsigned>(STT_FUNC)) << s.name;
            continue;
        }
        EXPECT_EQ(s.type, static_cast<unsigned>(STT_OBJECT)) << s.name;
        EXPECT_EQ(s.size, 8U) << s.name;
        EXPECT_EQ(s.value % 8, 0U) << s.name;
        EXPECT_GE(s.value, bss->address) << s.name;
        EXPECT_LE(s.value + 8, bss->address + bss->size) << s.name;
    }
}

TEST(binary, entries_are_the_only_state)
{
    std::uint64_t writable = 0;
    for (const rig::ElfSection& s : file().sections)
        if ((s.flags & SHF_WRITE) != 0 && s.type != SHT_DYNAMIC && s.type != SHT_INIT_ARRAY &&
            !s.name.starts_with(".got"))
            writable += s.size;
    EXPECT_EQ(writable, 50U * 8);
}

TEST(binary, every_entry_is_reached_through_the_global_offset_table)
{
    std::set<std::string> through_table;
    for (const rig::ElfRelocation& r : file().relocations)
        if (r.type == R_X86_64_GLOB_DAT)
            through_table.insert(r.symbol);
    for (const std::string& entry : rig::entry_names())
        EXPECT_TRUE(through_table.contains(entry)) << entry;
}

TEST(binary, initialiser_array_holds_init_dispatch_alone)
{
    EXPECT_EQ(file().tag(DT_INIT_ARRAYSZ), 8U);
    for (const std::int64_t tag : {DT_INIT, DT_FINI, DT_FINI_ARRAY, DT_PREINIT_ARRAY})
        EXPECT_FALSE(file().has_tag(tag)) << "dynamic tag " << tag;

    const rig::Library& library = rig::at(rig::Level::base);
    const void* word = *reinterpret_cast<void* const*>(library.base() + file().tag(DT_INIT_ARRAY));
    EXPECT_EQ(word, library.internal("init_dispatch"));
}

TEST(binary, name_and_needed_libraries)
{
    EXPECT_EQ(file().soname, "libsimd.so");
    const std::set<std::string> needed(file().needed.begin(), file().needed.end());
    EXPECT_EQ(needed, (std::set<std::string>{"libc.so.6", "libm.so.6"}));
}

TEST(binary, imports_only_what_the_kernels_call)
{
    const std::set<std::string> want = {"memcpy", "strcmp", "log10f", "log10", "expf"};
    std::set<std::string> imported;
    for (const ElfSymbol& s : file().dynamic)
        if (s.section == SHN_UNDEF)
            imported.insert(s.name.substr(0, s.name.find('@')));
    EXPECT_EQ(imported, want);
}

TEST(binary, no_text_relocations)
{
    EXPECT_FALSE(file().has_tag(DT_TEXTREL));
    EXPECT_EQ(file().tag(DT_FLAGS) & DF_TEXTREL, 0U);
    EXPECT_FALSE(file().relocations.empty());
    for (const rig::ElfRelocation& r : file().relocations) {
        const rig::ElfSegment* segment = loaded(r.offset);
        ASSERT_NE(segment, nullptr) << std::hex << r.offset;
        EXPECT_NE(segment->flags & PF_W, 0U) << std::hex << r.offset;
    }
}

TEST(binary, not_bound_to_itself)
{
    EXPECT_FALSE(file().has_tag(DT_SYMBOLIC));
    EXPECT_EQ(file().tag(DT_FLAGS) & DF_SYMBOLIC, 0U);
}

TEST(binary, bound_at_load_and_read_only_from_then_on)
{
    EXPECT_NE(file().tag(DT_FLAGS_1) & DF_1_NOW, 0U);
    const rig::ElfSegment* sealed = segment(PT_GNU_RELRO);
    ASSERT_NE(sealed, nullptr) << "nothing is sealed";
    int words = 0;
    for (const rig::ElfRelocation& r : file().relocations) {
        ++words;
        EXPECT_TRUE(r.offset >= sealed->address && r.offset < sealed->address + sealed->size)
            << r.symbol << " at " << std::hex << r.offset;
    }
    EXPECT_GE(words, 6); // the five imports and the initialiser, even where entries need none
}

TEST(binary, nothing_is_resolved_by_code_at_load)
{
    for (const rig::ElfRelocation& r : file().relocations)
        EXPECT_NE(r.type, static_cast<std::uint32_t>(R_X86_64_IRELATIVE)) << std::hex << r.addend;
    for (const ElfSymbol& s : file().symbols)
        EXPECT_NE(s.type, static_cast<unsigned>(STT_GNU_IFUNC)) << s.name;
}

TEST(binary, stack_is_not_executable)
{
    const rig::ElfSegment* stack = segment(PT_GNU_STACK);
    ASSERT_NE(stack, nullptr) << "no say in it: executable by default";
    EXPECT_EQ(stack->flags & PF_X, 0U);
}

TEST(binary, no_memory_is_writable_and_executable)
{
    int loads = 0;
    for (const rig::ElfSegment& s : file().segments)
        if (s.type == PT_LOAD) {
            ++loads;
            EXPECT_NE(s.flags & (PF_W | PF_X), static_cast<unsigned>(PF_W | PF_X));
        }
    EXPECT_GE(loads, 3);
}

TEST(binary, objects_share_nothing_and_initialise_nothing)
{
    const std::vector<std::string> paths = objects();
    ASSERT_GT(paths.size(), 12U);
    int variants = 0;
    for (const std::string& path : paths) {
        const ElfFile object(path);
        const bool is_dispatch = path.find("dispatch/dispatch.cpp") != std::string::npos;
        for (const ElfSymbol& s : object.symbols) {
            EXPECT_NE(s.binding, static_cast<unsigned>(STB_WEAK)) << path << ": " << s.name;
            EXPECT_NE(s.binding, static_cast<unsigned>(STB_GNU_UNIQUE)) << path << ": " << s.name;
            variants += s.section != SHN_UNDEF && s.type == STT_FUNC && s.binding == STB_GLOBAL;
        }
        for (const rig::ElfSection& section : object.sections) {
            EXPECT_FALSE(section.name.starts_with(".ctors")) << path;
            EXPECT_NE(section.type, static_cast<std::uint32_t>(SHT_GROUP))
                << path << ": shared section";
            if (!is_dispatch) {
                EXPECT_FALSE(section.name.starts_with(".init_array")) << path;
            }
        }
    }
    EXPECT_GE(variants, 158 + 3);
}

// Built for hardened hosts (-fcf-protection): every function that they reach indirectly begins with
// endbr64, and the file says so.
TEST(binary, hardened_hosts_find_what_they_ask_for)
{
    if (std::getenv("LIBSIMD_HARDENED") != nullptr) {
        EXPECT_EQ(bears() & tracked_jumps, tracked_jumps);
        EXPECT_EQ(bears() & shadow_stack, shadow_stack);
    }
    if ((bears() & tracked_jumps) == 0)
        return;
    int reached = 0;
    for (const ElfSymbol& s : file().symbols) {
        const std::string name = rig::unmangled(s.name);
        const std::string kernel = name.substr(0, name.rfind('_'));
        if (s.type != STT_FUNC || s.section == SHN_UNDEF ||
            !(rig::table().contains(kernel) || functions().contains(name) ||
              name == "init_dispatch"))
            continue;
        ++reached;
        const char* code = file().bytes_at(s.value, 4);
        ASSERT_NE(code, nullptr) << name;
        EXPECT_EQ(std::memcmp(code, "\xF3\x0F\x1E\xFA", 4), 0) << name << " lacks endbr64";
    }
    EXPECT_GE(reached, 158 + 3 + 1);
}

TEST(host, fixed_address_program_has_copies_of_the_entries)
{
    std::set<std::string> copied;
    for (const rig::ElfRelocation& r : ElfFile(LIBSIMD_FIXED_HOST).relocations)
        if (r.type == R_X86_64_COPY)
            copied.insert(r.symbol);
    for (const std::string& entry : rig::entry_names())
        EXPECT_TRUE(copied.contains(entry)) << entry;
}

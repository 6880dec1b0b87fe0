#include "drivers/shared_object.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);

template <class Value>
bool Read(std::istream& in, Value* values, std::size_t count)
{
    return static_cast<bool>(in.read(reinterpret_cast<char*>(values),
                                     static_cast<std::streamsize>(count * sizeof(Value))));
}

bool IsElf(const Header& header)
{
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
}

bool IsForSameMachine(const Header& one, const Header& other)
{
    return one.e_machine == other.e_machine && one.e_ident[EI_CLASS] == other.e_ident[EI_CLASS] &&
           one.e_ident[EI_DATA] == other.e_ident[EI_DATA];
}

Header OwnHeader()
{
    Header header{};
    std::ifstream in("/proc/self/exe", std::ios::binary);
    Read(in, &header, 1);
    return header;
}

// The fields that name the machine are in the same place in every class of ELF.
std::string MachineOf(const Header& header)
{
    static constexpr struct {
        int machine;
        const char* name;
    } kMachines[] = {
        {EM_X86_64, "x86-64"}, {EM_386, "i386"},    {EM_AARCH64, "arm64"},
        {EM_ARM, "arm"},       {EM_RISCV, "riscv"}, {EM_PPC64, "ppc64"},
        {EM_S390, "s390x"},    {EM_MIPS, "mips"},   {EM_PPC, "powerpc"},
    };
    const auto* const found = std::ranges::find_if(
        kMachines, [&](const auto& known) { return known.machine == header.e_machine; });
    const std::string bits = header.e_ident[EI_CLASS] == ELFCLASS32 ? "32-bit " : "64-bit ";
    return bits + (found == std::end(kMachines) ? "machine " + std::to_string(header.e_machine)
                                                : found->name);
}

bool IsTruncated(std::istream& in, const Header& header, std::uintmax_t size)
{
    std::vector<Segment> segments(header.e_phnum);
    return !in.seekg(static_cast<std::streamoff>(header.e_phoff)) ||
           !Read(in, segments.data(), segments.size()) ||
           std::ranges::any_of(segments, [size](const Segment& segment) {
               return segment.p_type == PT_LOAD &&
                      (segment.p_offset > size || segment.p_filesz > size - segment.p_offset);
           });
}

}  // namespace

ObjectFault FaultOfSharedObject(const std::string& file)
{
    std::error_code none;
    if (fs::is_directory(file, none)) {
        return {ObjectFault::kDirectory, ""};
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return {ObjectFault::kUnreadable, std::generic_category().message(errno)};
    }
    Header header{};
    const bool is_whole = Read(in, &header, 1);
    const auto read = in.gcount();
    if (read >= SELFMAG && !IsElf(header)) {
        return {ObjectFault::kNotElf, ""};
    }
    if (!is_whole) {
        return {ObjectFault::kTruncated, ""};
    }
    if (!IsForSameMachine(header, OwnHeader())) {
        return {ObjectFault::kOtherMachine, MachineOf(header)};
    }
    if (IsTruncated(in, header, fs::file_size(file, none))) {
        return {ObjectFault::kTruncated, ""};
    }
    return {};
}

std::string OwnMachine()
{
    return MachineOf(OwnHeader());
}

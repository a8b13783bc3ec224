// The soname of a module, read from its file as the server does to show a plug-in's version.
#include <elf.h>

#include <fstream>
#include <vector>

#include "host/host_api.h"

namespace zhost {

namespace {

template <typename T>
bool ReadAt(std::ifstream &in, uint64_t offset, T &value) {
    in.seekg(std::streamoff(offset));
    return bool(in.read(reinterpret_cast<char *>(&value), sizeof value));
}

}  // namespace

std::string ModuleSoname(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    Elf64_Ehdr header;
    if (!ReadAt(in, 0, header) || std::char_traits<char>::compare(reinterpret_cast<const char *>(header.e_ident),
                                                                   ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shnum > 4096)
        return "";
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    in.seekg(std::streamoff(header.e_shoff));
    if (!in.read(reinterpret_cast<char *>(sections.data()), std::streamsize(sections.size() * sizeof(Elf64_Shdr))))
        return "";
    for (const Elf64_Shdr &s : sections) {
        if (s.sh_type != SHT_DYNAMIC || s.sh_link >= sections.size()) continue;
        const Elf64_Shdr &strings = sections[s.sh_link];
        for (uint64_t at = 0; at + sizeof(Elf64_Dyn) <= s.sh_size; at += sizeof(Elf64_Dyn)) {
            Elf64_Dyn entry;
            if (!ReadAt(in, s.sh_offset + at, entry) || entry.d_tag == DT_NULL) break;
            if (entry.d_tag != DT_SONAME || entry.d_un.d_val >= strings.sh_size) continue;
            std::string name;
            in.seekg(std::streamoff(strings.sh_offset + entry.d_un.d_val));
            std::getline(in, name, '\0');
            return name;
        }
    }
    return "";
}

}  // namespace zhost

#include "fresh_start.h"

#include <link.h>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

#include "tarnhost/defaults.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"

namespace {

// The writable memory of libtarnforce.so beyond what the loader made read-only.
struct Library {
    unsigned char* start = nullptr;
    size_t size = 0;
    std::vector<unsigned char> atLoad;
};

int findLibrary(dl_phdr_info* object, size_t, void* result) {
    if (!std::strstr(object->dlpi_name, "libtarnforce")) return 0;
    auto* library = static_cast<Library*>(result);
    ElfW(Addr) first = 0, end = 0, readOnlyEnd = 0;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        const ElfW(Phdr)& part = object->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_W) != 0U) {
            first = part.p_vaddr;
            end = part.p_vaddr + part.p_memsz;
        }
        if (part.p_type == PT_GNU_RELRO) readOnlyEnd = part.p_vaddr + part.p_memsz;
    }
    constexpr ElfW(Addr) kPage = 4096;
    first = (first > readOnlyEnd ? first : readOnlyEnd + kPage - 1) / kPage * kPage;
    library->start = reinterpret_cast<unsigned char*>(object->dlpi_addr + first);
    library->size = (end - first) / sizeof(std::uint64_t) * sizeof(std::uint64_t);
    return 1;
}

// Word by word and not by memcpy, which the sanitizer checks: the gaps between variables are marked as
// forbidden.
__attribute__((no_sanitize("address", "undefined", "coverage"))) void copy(unsigned char* to,
                                                                           const unsigned char* from,
                                                                           size_t size) {
    auto* target = reinterpret_cast<volatile std::uint64_t*>(to);
    const auto* source = reinterpret_cast<const std::uint64_t*>(from);
    for (size_t i = 0; i < size / sizeof *source; i++) target[i] = source[i];
}

Library atLoad() {
    Library library;
    dl_iterate_phdr(findLibrary, &library);
    if (library.size == 0) std::abort();
    library.atLoad.resize(library.size);
    copy(library.atLoad.data(), library.start, library.size);
    return library;
}

std::set<void*> given;  // what the library asked for and did not give back

}  // namespace

void fuzz::freshStart(int robotType) {
    static Library library = atLoad();
    copy(library.start, library.atLoad.data(), library.size);
    for (void* memory : given) std::free(memory);
    given.clear();
    std::srand(1);
    tarn::host::setDefaults(robotType);
}

// ---- services that would write to disks, wait or fill memory

void Write_Log(int, const char* format, ...) {
    char line[LOG_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
}

int ConfigWriteEntry(const char* file, const char* section, const char* key, float) {
    return std::strlen(file) > 0 && std::strlen(section) > 0 && std::strlen(key) > 0 ? 0 : -1;
}

void* __wrap_malloc(size_t size) {
    void* memory = std::malloc(size);
    given.insert(memory);
    return memory;
}

void __wrap_free(void* memory) {
    if (memory && given.erase(memory) == 0) std::abort();  // not the library's
    std::free(memory);
}

int __wrap_usleep(unsigned int) { return 0; }
int __wrap_puts(const char* text) { return std::strlen(text) > 0 ? 1 : 0; }

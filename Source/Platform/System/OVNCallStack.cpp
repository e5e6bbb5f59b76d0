#include "Platform/System/OVNCallStack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>

namespace {
// ---- --------------------------------------------------------------------
//
// Each frame becomes one line in the form the stack summary parses:
//   "<n> <binary> 0x<address, 16 hex digits> [<class> <method>] + <offset>"
//   "1   OvrinLoggingTests                  0x000055d4c3a2b1f0 [OVNLoggerTest_TraceStack_Test TestBody] + 31"
// Split at the separators " -[]+?.," the pieces are: 0 frame number, 1 binary, 2 address,
// 3 class, 4 method, 5 offset. So that holds, separators inside names are replaced by '_'
// and a shared library's name is cut at ".so" (libOvrinCore.so.0 -> libOvrinCore).
// Class and method are the last two components of the demangled qualified name, template
// arguments dropped ("ns::Cache<int>::store(int)" -> Cache store); a function at global
// scope gets the class "global"; an address without a symbol reads "unknown unknown".

constexpr std::string_view frameSeparators = " -[]+?.,";

std::string sanitized(std::string text) {
  for (char& c : text) {
    if (frameSeparators.find(c) != std::string_view::npos) c = '_';
  }
  return text.empty() ? std::string("unknown") : text;
}

// Function symbols of one ELF file's full symbol table. dladdr only sees exported symbols,
// and executables export none unless linked with -rdynamic; the symbol table names them.
class ElfSymbols {
 public:
  static std::shared_ptr<const ElfSymbols> forFile(const std::string& path) {
    static std::mutex cacheLock;
    static std::map<std::string, std::shared_ptr<const ElfSymbols>> cache;
    std::lock_guard guard(cacheLock);
    auto found = cache.find(path);
    if (found != cache.end()) return found->second;
    auto symbols = std::make_shared<ElfSymbols>();
    if (!symbols->load(path)) symbols.reset();
    cache.emplace(path, symbols);
    return symbols;
  }

  //! The function containing `address` (relative to the file's load bias) and its start.
  bool find(std::uint64_t address, std::string& name, std::uint64_t& start) const {
    auto after = std::upper_bound(entries_.begin(), entries_.end(), address,
                                  [](std::uint64_t a, const Entry& e) { return a < e.start; });
    if (after == entries_.begin()) return false;
    const Entry& entry = *(after - 1);
    if (address >= entry.start + std::max<std::uint64_t>(entry.size, 1)) return false;
    if (entry.nameOffset >= names_.size()) return false;
    name = names_.c_str() + entry.nameOffset;
    start = entry.start;
    return true;
  }

 private:
  struct Entry {
    std::uint64_t start;
    std::uint64_t size;
    std::uint32_t nameOffset;
  };

  static bool readAt(int fd, std::uint64_t offset, void* into, std::size_t size) {
    auto* bytes = static_cast<char*>(into);
    while (size > 0) {
      const ssize_t got = ::pread(fd, bytes, size, static_cast<off_t>(offset));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      bytes += got;
      offset += static_cast<std::uint64_t>(got);
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }

  bool load(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool loaded = loadFrom(fd);
    ::close(fd);
    return loaded;
  }

  bool loadFrom(int fd) {
    Elf64_Ehdr header{};
    if (!readAt(fd, 0, &header, sizeof header)) return false;
    if (std::string_view(reinterpret_cast<const char*>(header.e_ident), 4) != ELFMAG ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shnum == 0 ||
        header.e_shnum > 65000) {
      return false;
    }
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!readAt(fd, header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr))) return false;
    // The full table when present, else the exported one.
    const Elf64_Shdr* table = nullptr;
    for (const auto& section : sections) {
      if (section.sh_type == SHT_SYMTAB) table = &section;
    }
    if (!table) {
      for (const auto& section : sections) {
        if (section.sh_type == SHT_DYNSYM) table = &section;
      }
    }
    if (!table || table->sh_link >= sections.size() || table->sh_entsize != sizeof(Elf64_Sym)) return false;
    const Elf64_Shdr& strings = sections[table->sh_link];
    constexpr std::uint64_t sizeLimit = std::uint64_t{1} << 30;  // refuse absurd sizes from a damaged file
    if (table->sh_size > sizeLimit || strings.sh_size > sizeLimit) return false;

    std::vector<Elf64_Sym> symbols(table->sh_size / sizeof(Elf64_Sym));
    if (!readAt(fd, table->sh_offset, symbols.data(), symbols.size() * sizeof(Elf64_Sym))) return false;
    names_.resize(strings.sh_size);
    if (!readAt(fd, strings.sh_offset, names_.data(), names_.size())) return false;
    names_.push_back('\0');  // every name ends inside the buffer

    for (const auto& symbol : symbols) {
      const auto type = ELF64_ST_TYPE(symbol.st_info);
      if ((type != STT_FUNC && type != STT_GNU_IFUNC) || symbol.st_value == 0 || symbol.st_shndx == SHN_UNDEF) {
        continue;
      }
      entries_.push_back({symbol.st_value, symbol.st_size, symbol.st_name});
    }
    std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) { return a.start < b.start; });
    return !entries_.empty();
  }

  std::vector<Entry> entries_;
  std::string names_;
};

std::string demangled(const char* symbol) {
  int status = 0;
  char* text = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  if (status != 0 || !text) return symbol;
  std::string result(text);
  std::free(text);
  return result;
}

bool opens(char c) { return c == '<' || c == '(' || c == '{' || c == '['; }
bool closes(char c) { return c == '>' || c == ')' || c == '}' || c == ']'; }

// "void ns::Type<int>::run(int) const" -> {"Type", "run"}; see the frame form above.
std::pair<std::string, std::string> classAndMethod(std::string_view name) {
  // Drop the parameter list: the parenthesised group that closes last.
  const std::size_t lastClose = name.rfind(')');
  if (lastClose != std::string_view::npos) {
    int depth = 0;
    for (std::size_t i = lastClose + 1; i-- > 0;) {
      if (name[i] == ')')
        ++depth;
      else if (name[i] == '(' && --depth == 0) {
        if (i > 0) name = name.substr(0, i);
        break;
      }
    }
  }
  // Split at top-level "::" and drop a return type before the last top-level blank.
  std::vector<std::string> components(1);
  int depth = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    if (opens(c))
      ++depth;
    else if (closes(c) && depth > 0)
      --depth;
    if (depth == 0 && c == ':' && i + 1 < name.size() && name[i + 1] == ':') {
      components.emplace_back();
      ++i;
      continue;
    }
    if (depth == 0 && c == ' ') {
      components.assign(1, std::string());
      continue;
    }
    components.back().push_back(c);
  }
  // Template arguments are dropped: they would repeat names and add separators.
  for (auto& component : components) {
    std::string plain;
    int templateDepth = 0;
    for (char c : component) {
      if (c == '<')
        ++templateDepth;
      else if (c == '>' && templateDepth > 0)
        --templateDepth;
      else if (templateDepth == 0)
        plain.push_back(c);
    }
    if (!plain.empty()) component = std::move(plain);
  }
  std::string method = components.back();
  std::string cls = components.size() >= 2 ? components[components.size() - 2] : std::string("global");
  return {sanitized(std::move(cls)), sanitized(std::move(method))};
}

std::string binaryDisplayName(const std::string& path) {
  std::string name = std::filesystem::path(path).filename().string();
  if (const std::size_t so = name.find(".so"); so != std::string::npos && so > 0) name.resize(so);
  return sanitized(std::move(name));
}

std::string mainExecutablePath() {
  std::error_code error;
  auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : path.string();
}

std::string frameLine(std::size_t index, void* returnAddress) {
  const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
  // A return address may already belong to the next function; look up the call itself.
  const std::uintptr_t lookup = address > 0 ? address - 1 : address;
  std::string binary = "unknown";
  std::string symbol;
  std::uintptr_t start = 0;

  Dl_info info{};
  link_map* map = nullptr;
  if (::dladdr1(reinterpret_cast<void*>(lookup), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0 &&
      map != nullptr) {
    const bool isMainProgram = map->l_name == nullptr || map->l_name[0] == '\0';
    // The running program is read through /proc, which stays valid even if its file moved.
    const std::string file = isMainProgram ? std::string("/proc/self/exe") : std::string(map->l_name);
    const std::string shownPath = isMainProgram ? mainExecutablePath() : file;
    if (!shownPath.empty()) binary = binaryDisplayName(shownPath);
    std::string name;
    std::uint64_t relativeStart = 0;
    auto table = ElfSymbols::forFile(file);
    if (table && table->find(lookup - map->l_addr, name, relativeStart)) {
      symbol = std::move(name);
      start = map->l_addr + relativeStart;
    } else if (info.dli_sname != nullptr) {
      symbol = info.dli_sname;
      start = reinterpret_cast<std::uintptr_t>(info.dli_saddr);
    } else {
      start = map->l_addr;
    }
  }
  auto [cls, method] = symbol.empty() ? std::pair<std::string, std::string>("unknown", "unknown")
                                      : classAndMethod(demangled(symbol.c_str()));
  char text[64];
  std::snprintf(text, sizeof text, "%-3zu ", index);
  std::string line = text;
  line += binary;
  if (binary.size() < 34) line.append(34 - binary.size(), ' ');
  std::snprintf(text, sizeof text, " 0x%016" PRIxPTR " [", address);
  line += text;
  line += cls + " " + method + "] + " + std::to_string(address - start);
  return line;
}

// An address inside the calling function.
__attribute__((noinline)) void* callSite() { return __builtin_return_address(0); }

const void* functionStart(void* returnAddress) {
  Dl_info info{};
  if (::dladdr(static_cast<char*>(returnAddress) - 1, &info) == 0) return nullptr;
  return info.dli_saddr;
}
}  // namespace

// Frame 0 of the result is the caller, so this function must stay a real frame.
__attribute__((noinline)) std::vector<std::string> OVNCallStack::callStackSymbols() {
  void* frames[128];
  const int count = ::backtrace(frames, 128);
  // Skip this function and anything above it (a sanitizer's wrapper of backtrace).
  int first = 0;
  if (const void* self = functionStart(callSite())) {
    for (int i = 0; i < count; ++i) {
      if (functionStart(frames[i]) == self) {
        first = i + 1;
        break;
      }
    }
  }
  std::vector<std::string> lines;
  lines.reserve(static_cast<std::size_t>(std::max(count - first, 0)));
  for (int i = first; i < count; ++i) lines.push_back(frameLine(static_cast<std::size_t>(i - first), frames[i]));
  return lines;
}

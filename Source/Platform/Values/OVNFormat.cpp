#include "Platform/Values/OVNFormat.h"

#include <cstdio>
#include <cstring>

namespace {
std::int64_t asSigned(const OVNFormatArgument::Storage& arg) {
  if (auto v = std::get_if<std::int64_t>(&arg)) return *v;
  if (auto v = std::get_if<std::uint64_t>(&arg)) return static_cast<std::int64_t>(*v);
  if (auto v = std::get_if<double>(&arg)) return static_cast<std::int64_t>(*v);
  if (auto v = std::get_if<const void*>(&arg)) return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(*v));
  return std::get<OVNValue>(arg).longLongValue().value_or(0);
}

std::uint64_t asUnsigned(const OVNFormatArgument::Storage& arg) {
  if (auto v = std::get_if<std::uint64_t>(&arg)) return *v;
  if (auto value = std::get_if<OVNValue>(&arg); value && value->number())
    return value->number()->unsignedLongLongValue();
  return static_cast<std::uint64_t>(asSigned(arg));
}

double asDouble(const OVNFormatArgument::Storage& arg) {
  if (auto v = std::get_if<double>(&arg)) return *v;
  if (auto v = std::get_if<std::int64_t>(&arg)) return static_cast<double>(*v);
  if (auto v = std::get_if<std::uint64_t>(&arg)) return static_cast<double>(*v);
  if (auto v = std::get_if<OVNValue>(&arg)) return v->doubleValue().value_or(0);
  return 0;
}

const void* asPointer(const OVNFormatArgument::Storage& arg) {
  if (auto v = std::get_if<const void*>(&arg)) return *v;
  return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(asUnsigned(arg)));
}

std::string describe(const OVNFormatArgument::Storage& arg) {
  if (auto v = std::get_if<OVNValue>(&arg)) return v->description();
  if (auto v = std::get_if<std::int64_t>(&arg)) return std::to_string(*v);
  if (auto v = std::get_if<std::uint64_t>(&arg)) return std::to_string(*v);
  if (auto v = std::get_if<double>(&arg)) return OVNNumber::floating(*v).description();
  char text[32];
  std::snprintf(text, sizeof text, "%p", std::get<const void*>(arg));
  return text;
}

template <class T>
void appendPrintf(std::string& out, const std::string& spec, T value) {
  char buffer[128];
  int n = std::snprintf(buffer, sizeof buffer, spec.c_str(), value);
  if (n < 0) return;
  if (static_cast<std::size_t>(n) < sizeof buffer) {
    out.append(buffer, static_cast<std::size_t>(n));
    return;
  }
  std::string big(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), spec.c_str(), value);
  out.append(big.data(), static_cast<std::size_t>(n));
}
}  // namespace

std::string OVNFormatList(std::string_view format, const OVNFormatArgument* arguments, std::size_t count) {
  std::string out;
  out.reserve(format.size() + 16 * count);
  std::size_t next = 0;
  std::size_t i = 0;
  while (i < format.size()) {
    const char c = format[i];
    if (c != '%') {
      const std::size_t stop = format.find('%', i);
      const std::size_t end = stop == std::string_view::npos ? format.size() : stop;
      out.append(format.substr(i, end - i));
      i = end;
      continue;
    }
    // %[flags][width][.precision][length]conversion
    const std::size_t start = i;
    std::size_t j = i + 1;
    std::string spec = "%";
    while (j < format.size() && std::strchr("-+ #0'", format[j])) spec += format[j++];
    while (j < format.size() && format[j] >= '0' && format[j] <= '9') spec += format[j++];
    if (j < format.size() && format[j] == '.') {
      spec += format[j++];
      while (j < format.size() && format[j] >= '0' && format[j] <= '9') spec += format[j++];
    }
    while (j < format.size() && std::strchr("hlqLzjt", format[j])) ++j;  // lengths: we pass 64-bit values
    if (j >= format.size()) {
      out.append(format.substr(i));
      break;
    }
    const char conversion = format[j];
    i = j + 1;
    if (conversion == '%') {
      out += '%';
      continue;
    }
    if (!std::strchr("@diouxXfFeEgGaAcsp", conversion)) {
      out.append(format.substr(start, j + 1 - start));  // unknown: keep the text, length modifiers included
      continue;
    }
    if (next >= count) continue;  // missing argument: print nothing
    const auto& arg = arguments[next++].storage();
    switch (conversion) {
      case '@': out += describe(arg); break;
      case 'd':
      case 'i': appendPrintf(out, spec + "lld", static_cast<long long>(asSigned(arg))); break;
      case 'o':
      case 'u':
      case 'x':
      case 'X': appendPrintf(out, spec + "ll" + conversion, static_cast<unsigned long long>(asUnsigned(arg))); break;
      case 'c': appendPrintf(out, spec + "c", static_cast<int>(asSigned(arg))); break;
      case 's': {
        const auto* value = std::get_if<OVNValue>(&arg);
        const std::string text = value && value->string() ? *value->string() : describe(arg);
        appendPrintf(out, spec + "s", text.c_str());
        break;
      }
      case 'p': {
        const void* p = asPointer(arg);
        if (!p)
          out += "0x0";
        else
          appendPrintf(out, spec + "p", p);
        break;
      }
      default: appendPrintf(out, spec + conversion, asDouble(arg)); break;
    }
  }
  return out;
}

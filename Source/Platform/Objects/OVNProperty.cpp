#include "Platform/Objects/OVNProperty.h"

namespace {
// Splits the attribute list at commas that are outside quotes and braces, so that
// T{CGPoint=dd} and T@"NSArray<Foo>" stay whole.
template <class Visit>
void forEachAttribute(std::string_view text, Visit visit) {
  std::size_t start = 0;
  int depth = 0;
  bool quoted = false;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const char c = i < text.size() ? text[i] : ',';
    if (c == '"')
      quoted = !quoted;
    else if (!quoted && c == '{')
      ++depth;
    else if (!quoted && c == '}')
      --depth;
    else if (c == ',' && !quoted && depth <= 0) {
      visit(text.substr(start, i - start));
      start = i + 1;
    }
  }
}
}  // namespace

OVNProperty::OVNProperty(std::string name, std::string attributes, std::shared_ptr<const OVNPropertyAccessor> accessor)
    : name_(std::move(name)), attributes_(std::move(attributes)), accessor_(std::move(accessor)) {
  forEachAttribute(attributes_, [this](std::string_view piece) {
    if (piece.empty()) return;
    switch (piece.front()) {
      case 'T': typeEncoding_ = std::string(piece.substr(1)); break;
      case 'R': readOnly_ = piece.size() == 1; break;
      case 'D': dynamic_ = piece.size() == 1; break;
      case 'V': fieldName_ = std::string(piece.substr(1)); break;
      default: break;
    }
  });
}

#include "tests/support/fake_registry.h"

#include <algorithm>
#include <cstring>

#include "tests/support/names.h"

namespace varnel::testing {

using platform::HKEY;

struct FakeRegistry::Node {
  std::u16string name;
  std::map<std::u16string, std::shared_ptr<Node>> children;  // by folded name
  std::vector<Value> values;
  bool deleted = false;

  std::vector<Value>::iterator Find(std::u16string_view value_name) {
    return std::find_if(values.begin(), values.end(),
                        [&](const Value& value) { return Folded(value.name) == Folded(value_name); });
  }
  void MarkDeleted() {
    deleted = true;
    for (auto& [folded, child] : children) child->MarkDeleted();
    children.clear();
    values.clear();
  }
};

namespace {

std::uintptr_t Number(HKEY key) {
  return reinterpret_cast<std::uintptr_t>(key);
}

std::u16string_view ViewOf(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

/// Walks a path. `make` is called for a missing child; null from it ends the walk with null.
template <typename NodePtr, typename Make>
NodePtr Walk(NodePtr node, std::u16string_view path, const Make& make) {
  while (!path.empty() && node != nullptr) {
    const std::size_t end = path.find(u'\\');
    const std::u16string_view name = path.substr(0, end);
    path = end == std::u16string_view::npos ? std::u16string_view() : path.substr(end + 1);
    if (name.empty()) continue;
    const auto found = node->children.find(Folded(name));
    node = found != node->children.end() ? found->second : make(node.get(), name);
  }
  return node;
}

/// The platform's rule for a value's bytes and the room for them.
std::uint32_t GiveData(const std::vector<std::uint8_t>& data, void* out, std::uint32_t* size) {
  if (size == nullptr) return out == nullptr ? platform::kErrorSuccess : platform::kErrorInvalidParameter;
  const std::uint32_t room = *size;
  *size = static_cast<std::uint32_t>(data.size());
  if (out == nullptr) return platform::kErrorSuccess;
  if (room < data.size()) return platform::kErrorMoreData;
  std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(out));
  return platform::kErrorSuccess;
}

std::uint32_t GiveName(const std::u16string& name, char16_t* out, std::uint32_t* length) {
  if (name.size() >= *length) return platform::kErrorMoreData;
  std::copy(name.begin(), name.end(), out);
  out[name.size()] = 0;
  *length = static_cast<std::uint32_t>(name.size());
  return platform::kErrorSuccess;
}

}  // namespace

FakeRegistry::FakeRegistry() {
  for (HKEY root :
       {platform::kHkeyClassesRoot, platform::kHkeyCurrentUser, platform::kHkeyLocalMachine, platform::kHkeyUsers}) {
    roots_[Number(root)] = std::make_shared<Node>();
  }
  MakeKey(u"SOFTWARE");
  MakeKey(u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger");
}

FakeRegistry::~FakeRegistry() = default;

std::shared_ptr<FakeRegistry::Node> FakeRegistry::MachinePath(std::u16string_view path, bool make) const {
  const auto maker = [make](Node* parent, std::u16string_view name) -> std::shared_ptr<Node> {
    if (!make) return nullptr;
    auto child = std::make_shared<Node>();
    child->name = name;
    parent->children[Folded(name)] = child;
    return child;
  };
  return Walk(roots_.at(Number(platform::kHkeyLocalMachine)), path, maker);
}

std::uint32_t FakeRegistry::Look(HKEY key, std::uint32_t needed, Opened* out) const {
  if (const auto root = roots_.find(Number(key)); root != roots_.end()) {
    *out = {root->second, ~0u};
    return platform::kErrorSuccess;
  }
  const auto found = opened_.find(Number(key));
  if (found == opened_.end()) return platform::kErrorInvalidHandle;
  if (found->second.node->deleted) return platform::kErrorKeyDeleted;
  if ((found->second.access & needed) != needed) return platform::kErrorAccessDenied;
  *out = found->second;
  return platform::kErrorSuccess;
}

HKEY FakeRegistry::Open(std::shared_ptr<Node> node, std::uint32_t access) {
  next_ += 4;
  opened_[next_] = {std::move(node), access};
  return reinterpret_cast<HKEY>(next_);
}

void FakeRegistry::MakeKey(std::u16string_view path) {
  const std::lock_guard lock(mutex_);
  MachinePath(path, true);
}

bool FakeRegistry::HasKey(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  return MachinePath(path, false) != nullptr;
}

void FakeRegistry::RemoveKey(std::u16string_view path) {
  RegDeleteTreeW(platform::kHkeyLocalMachine, std::u16string(path).c_str());
}

std::vector<std::u16string> FakeRegistry::SubKeys(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::u16string> names;
  if (const auto node = MachinePath(path, false)) {
    for (const auto& [folded, child] : node->children) names.push_back(child->name);
  }
  return names;
}

std::vector<FakeRegistry::Value> FakeRegistry::Values(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  const auto node = MachinePath(path, false);
  return node == nullptr ? std::vector<Value>() : node->values;
}

std::optional<FakeRegistry::Value> FakeRegistry::Get(std::u16string_view path, std::u16string_view name) const {
  const std::lock_guard lock(mutex_);
  const auto node = MachinePath(path, false);
  if (node == nullptr) return std::nullopt;
  const auto found = node->Find(name);
  return found == node->values.end() ? std::nullopt : std::optional(*found);
}

void FakeRegistry::Set(std::u16string_view path, std::u16string_view name, std::uint32_t type, const void* data,
                       std::size_t size) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  const std::lock_guard lock(mutex_);
  const auto node = MachinePath(path, true);
  auto found = node->Find(name);
  if (found == node->values.end()) found = node->values.insert(found, Value{std::u16string(name), 0, {}});
  found->type = type;
  found->data.assign(bytes, bytes + size);
}

void FakeRegistry::SetDword(std::u16string_view path, std::u16string_view name, std::uint32_t value) {
  Set(path, name, platform::kRegDword, &value, sizeof value);
}

void FakeRegistry::SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text) {
  const std::u16string with_nul(text);
  Set(path, name, platform::kRegSz, with_nul.c_str(), (with_nul.size() + 1) * sizeof(char16_t));
}

std::optional<std::uint32_t> FakeRegistry::GetDword(std::u16string_view path, std::u16string_view name) const {
  const auto value = Get(path, name);
  if (!value || value->type != platform::kRegDword || value->data.size() != 4) return std::nullopt;
  std::uint32_t number;
  std::memcpy(&number, value->data.data(), sizeof number);
  return number;
}

std::optional<std::uint64_t> FakeRegistry::GetQword(std::u16string_view path, std::u16string_view name) const {
  const auto value = Get(path, name);
  if (!value || value->type != platform::kRegQword || value->data.size() != 8) return std::nullopt;
  std::uint64_t number;
  std::memcpy(&number, value->data.data(), sizeof number);
  return number;
}

std::optional<std::u16string> FakeRegistry::GetText(std::u16string_view path, std::u16string_view name) const {
  const auto value = Get(path, name);
  if (!value || value->type != platform::kRegSz) return std::nullopt;
  std::u16string text(value->data.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), value->data.data(), text.size() * sizeof(char16_t));
  if (!text.empty() && text.back() == 0) text.pop_back();
  return text;
}

std::size_t FakeRegistry::open_keys() const {
  const std::lock_guard lock(mutex_);
  return opened_.size();
}

unsigned FakeRegistry::flush_count() const {
  const std::lock_guard lock(mutex_);
  return flush_count_;
}

std::uint32_t FakeRegistry::RegOpenKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t, std::uint32_t access,
                                          HKEY* result) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, 0, &base); error != 0) return error;
  const auto missing = [](Node*, std::u16string_view) -> std::shared_ptr<Node> { return nullptr; };
  const auto node = Walk(base.node, ViewOf(sub_key), missing);
  if (node == nullptr) return platform::kErrorFileNotFound;
  *result = Open(node, access);
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegCreateKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t, std::uint32_t access,
                                            HKEY* result, std::uint32_t* disposition) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, 0, &base); error != 0) return error;
  const bool below_a_root = roots_.contains(Number(key));
  bool created = false;
  const auto make = [&](Node* parent, std::u16string_view name) -> std::shared_ptr<Node> {
    if (below_a_root && parent == base.node.get()) return nullptr;
    auto child = std::make_shared<Node>();
    child->name = name;
    parent->children[Folded(name)] = child;
    created = true;
    return child;
  };
  const auto node = Walk(base.node, ViewOf(sub_key), make);
  if (node == nullptr) return platform::kErrorInvalidParameter;
  if (disposition != nullptr) {
    *disposition = created ? platform::kRegCreatedNewKey : platform::kRegOpenedExistingKey;
  }
  *result = Open(node, access);
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegCloseKey(HKEY key) {
  const std::lock_guard lock(mutex_);
  if (roots_.contains(Number(key))) return platform::kErrorSuccess;
  return opened_.erase(Number(key)) > 0 ? platform::kErrorSuccess : platform::kErrorInvalidHandle;
}

std::uint32_t FakeRegistry::RegQueryValueExW(HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                             std::uint32_t* data_size) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeyQueryValue, &base); error != 0) return error;
  const auto found = base.node->Find(ViewOf(name));
  if (found == base.node->values.end()) return platform::kErrorFileNotFound;
  if (type != nullptr) *type = found->type;
  return GiveData(found->data, data, data_size);
}

std::uint32_t FakeRegistry::RegSetValueExW(HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                                           std::uint32_t data_size) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeySetValue, &base); error != 0) return error;
  auto found = base.node->Find(ViewOf(name));
  if (found == base.node->values.end()) {
    found = base.node->values.insert(found, Value{std::u16string(ViewOf(name)), 0, {}});
  }
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  found->type = type;
  found->data.assign(bytes, bytes + data_size);
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegDeleteValueW(HKEY key, const char16_t* name) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeySetValue, &base); error != 0) return error;
  const auto found = base.node->Find(ViewOf(name));
  if (found == base.node->values.end()) return platform::kErrorFileNotFound;
  base.node->values.erase(found);
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                                          std::uint32_t* type, void* data, std::uint32_t* data_size) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeyQueryValue, &base); error != 0) return error;
  if (index >= base.node->values.size()) return platform::kErrorNoMoreItems;
  const Value& value = base.node->values[index];
  if (const std::uint32_t error = GiveName(value.name, name, name_length); error != 0) return error;
  if (type != nullptr) *type = value.type;
  return GiveData(value.data, data, data_size);
}

std::uint32_t FakeRegistry::RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeyEnumerateSubKeys, &base); error != 0) return error;
  if (index >= base.node->children.size()) return platform::kErrorNoMoreItems;
  return GiveName(std::next(base.node->children.begin(), index)->second->name, name, name_length);
}

std::uint32_t FakeRegistry::RegQueryInfoKeyW(HKEY key, std::uint32_t* sub_key_count, std::uint32_t* value_count) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, platform::kKeyQueryValue, &base); error != 0) return error;
  if (sub_key_count != nullptr) *sub_key_count = static_cast<std::uint32_t>(base.node->children.size());
  if (value_count != nullptr) *value_count = static_cast<std::uint32_t>(base.node->values.size());
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegDeleteKeyW(HKEY key, const char16_t* sub_key) {
  {
    const std::lock_guard lock(mutex_);
    Opened base;
    if (const std::uint32_t error = Look(key, 0, &base); error != 0) return error;
    const auto missing = [](Node*, std::u16string_view) -> std::shared_ptr<Node> { return nullptr; };
    const auto node = Walk(base.node, ViewOf(sub_key), missing);
    if (node == nullptr) return platform::kErrorFileNotFound;
    if (!node->children.empty()) return platform::kErrorAccessDenied;
  }
  return RegDeleteTreeW(key, sub_key);
}

std::uint32_t FakeRegistry::RegDeleteTreeW(HKEY key, const char16_t* sub_key) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, 0, &base); error != 0) return error;
  const std::u16string_view path = ViewOf(sub_key);
  const std::size_t last = path.rfind(u'\\');
  const auto missing = [](Node*, std::u16string_view) -> std::shared_ptr<Node> { return nullptr; };
  const auto parent = last == std::u16string_view::npos ? base.node : Walk(base.node, path.substr(0, last), missing);
  if (parent == nullptr) return platform::kErrorFileNotFound;
  if (path.empty()) {
    for (auto& [folded, child] : parent->children) child->MarkDeleted();
    parent->children.clear();
    parent->values.clear();
    return platform::kErrorSuccess;
  }
  const auto found = parent->children.find(Folded(last == std::u16string_view::npos ? path : path.substr(last + 1)));
  if (found == parent->children.end()) return platform::kErrorFileNotFound;
  found->second->MarkDeleted();
  parent->children.erase(found);
  return platform::kErrorSuccess;
}

std::uint32_t FakeRegistry::RegFlushKey(HKEY key) {
  const std::lock_guard lock(mutex_);
  Opened base;
  if (const std::uint32_t error = Look(key, 0, &base); error != 0) return error;
  ++flush_count_;
  return platform::kErrorSuccess;
}

}  // namespace varnel::testing

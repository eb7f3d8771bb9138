#include "sz_containers.h"

#include <errno.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <limits>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform_error.h"

// A deque, not a vector: appending never moves the stored strings, so a value pointer a
// caller got from the hash or list stays valid until that very entry is replaced or the
// container is freed.
struct _tag_VLIBSZHASH_ {
  std::deque<std::pair<std::string, std::string>> entries;  // insertion order
  std::unordered_map<std::string, size_t> index;            // key -> position in entries
};

struct _tag_VLIBSZLIST_ {
  size_t capacity = 0;
  std::deque<std::string> items;
};

namespace vexo_platform {
namespace {

// Hash sizes are hints; a silly hint must not become a huge up-front allocation.
constexpr int kMaxReservedBuckets = 4096;

}  // namespace

PVLIBSZHASH HashAlloc(int size) {
  if (size < 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return nullptr;
  }
  PVLIBSZHASH hash = new (std::nothrow) _tag_VLIBSZHASH_;
  if (hash == nullptr) {
    SET_PLATFORM_ERROR(ENOMEM);
    return nullptr;
  }
  // Only a hint: an empty hash still works, so a failed reservation is no failure.
  RanWithoutThrowing([&] {
    hash->index.reserve(
        static_cast<size_t>(size < kMaxReservedBuckets ? size : kMaxReservedBuckets));
  });
  return hash;
}

int HashSet(PVLIBSZHASH *hash, const char *key, const char *value) {
  if (hash == nullptr || *hash == nullptr || key == nullptr || value == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  PVLIBSZHASH h = *hash;
  return GuardPlatformCall(ENOMEM, -1, [&] {
    auto found = h->index.find(key);
    if (found != h->index.end()) {
      h->entries[found->second].second = value;
      return 0;
    }
    h->entries.emplace_back(key, value);
    // An entry without its index entry would never be found: both or neither.
    if (!RanWithoutThrowing([&] { h->index.emplace(key, h->entries.size() - 1); })) {
      h->entries.pop_back();
      throw std::bad_alloc();
    }
    return 0;
  });
}

const char *HashGet(PVLIBSZHASH hash, const char *key) {
  if (hash == nullptr || key == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return nullptr;
  }
  return GuardPlatformCall(ENOMEM, static_cast<const char *>(nullptr), [&]() -> const char * {
    auto found = hash->index.find(key);
    if (found != hash->index.end()) return hash->entries[found->second].second.c_str();
    SET_PLATFORM_ERROR(ENOENT);
    return nullptr;
  });
}

int HashEnumKeys(PVLIBSZHASH hash, PVLIBSZLIST keys) {
  if (hash == nullptr || keys == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  // All or nothing: a list too small for every key is left as it was.
  if (keys->capacity - keys->items.size() < hash->entries.size()) {
    SET_PLATFORM_ERROR(ENOSPC);
    return -1;
  }
  size_t before = keys->items.size();
  const int result = GuardPlatformCall(ENOMEM, -1, [&] {
    for (const auto &entry : hash->entries) keys->items.push_back(entry.first);
    return static_cast<int>(hash->entries.size());
  });
  if (result < 0) keys->items.resize(before);
  return result;
}

void HashFree(PVLIBSZHASH hash) {
  delete hash;
}

PVLIBSZLIST ListAlloc(int capacity) {
  if (capacity < 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return nullptr;
  }
  PVLIBSZLIST list = new (std::nothrow) _tag_VLIBSZLIST_;
  if (list == nullptr) {
    SET_PLATFORM_ERROR(ENOMEM);
    return nullptr;
  }
  list->capacity = static_cast<size_t>(capacity);
  return list;
}

const char *ListGet(PVLIBSZLIST list, int index) {
  if (list == nullptr || index < 0 || static_cast<size_t>(index) >= list->items.size()) {
    SET_PLATFORM_ERROR(list == nullptr ? EINVAL : ERANGE);
    return nullptr;
  }
  return list->items[static_cast<size_t>(index)].c_str();
}

int ListSize(PVLIBSZLIST list) {
  return list == nullptr ? 0 : static_cast<int>(list->items.size());
}

int ListPush(PVLIBSZLIST list, const char *text) {
  if (list == nullptr || text == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  if (list->items.size() >= list->capacity) {
    SET_PLATFORM_ERROR(ENOSPC);
    return -1;
  }
  return GuardPlatformCall(ENOMEM, -1, [&] {
    list->items.emplace_back(text);
    return 0;
  });
}

void ListFree(PVLIBSZLIST list) {
  delete list;
}

int StrCat(char **buffer, size_t *capacity, const char *text) {
  if (buffer == nullptr || capacity == nullptr || text == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  size_t used = 0;
  if (*buffer != nullptr) {
    // A buffer without its terminator inside the stated capacity is not a string we may
    // extend; refusing beats reading past its end.
    const void *nul = std::memchr(*buffer, '\0', *capacity);
    if (nul == nullptr) {
      SET_PLATFORM_ERROR(EINVAL);
      return -1;
    }
    used = static_cast<size_t>(static_cast<const char *>(nul) - *buffer);
  }
  size_t extra = std::strlen(text);
  if (extra > std::numeric_limits<size_t>::max() - used - 1) {
    SET_PLATFORM_ERROR(EOVERFLOW);
    return -1;
  }
  size_t needed = used + extra + 1;
  if (*buffer == nullptr || needed > *capacity) {
    size_t grown = *buffer == nullptr || *capacity == 0 ? 64 : *capacity;
    while (grown < needed) {
      grown = grown > std::numeric_limits<size_t>::max() / 2 ? needed : grown * 2;
    }
    char *moved = static_cast<char *>(std::realloc(*buffer, grown));
    if (moved == nullptr) {
      SET_PLATFORM_ERROR(ENOMEM);
      return -1;
    }
    if (*buffer == nullptr) moved[0] = '\0';
    *buffer = moved;
    *capacity = grown;
  }
  std::memcpy(*buffer + used, text, extra + 1);
  return 0;
}

char *StrTrimSpace(char *text) {
  if (text == nullptr) return nullptr;
  size_t length = std::strlen(text);
  size_t start = 0;
  while (start < length && std::isspace(static_cast<unsigned char>(text[start]))) ++start;
  size_t end = length;
  while (end > start && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  std::memmove(text, text + start, end - start);
  text[end - start] = '\0';
  return text;
}

}  // namespace vexo_platform

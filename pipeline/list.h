// Circular doubly linked lists with a head record. An entry is a ListEntry that stands first in its record; the list
// owns nothing and checks nothing. Not synchronised: the lock of the list's owner covers every call.
#pragma once

namespace varnel {

struct ListEntry {
  ListEntry* Flink;  // next, or the head
  ListEntry* Blink;  // the one before, or the head
};

/// Makes `head` an empty list.
inline void InitializeListHead(ListEntry* head) {
  head->Flink = head;
  head->Blink = head;
}

inline bool IsListEmpty(const ListEntry* head) {
  return head->Flink == head;
}

/// Unlinks and returns the first entry; its own links keep their old values. On an empty list it returns the head and
/// changes nothing: callers that can meet one must not use what they get.
inline ListEntry* RemoveHeadList(ListEntry* head) {
  ListEntry* entry = head->Flink;
  ListEntry* next = entry->Flink;
  head->Flink = next;
  next->Blink = head;
  return entry;
}

/// Links `entry` directly behind `node`, which may be a head or an entry.
inline void InsertHeadList(ListEntry* node, ListEntry* entry) {
  ListEntry* next = node->Flink;
  entry->Flink = next;
  entry->Blink = node;
  next->Blink = entry;
  node->Flink = entry;
}

/// Links `entry` before `head`, at the end of the list.
inline void InsertTailList(ListEntry* head, ListEntry* entry) {
  InsertHeadList(head->Blink, entry);
}

}  // namespace varnel

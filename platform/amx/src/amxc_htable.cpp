// Hash table with string keys.
//
// Buckets live in the table's array; each bucket iterator's data is the head
// of a chain of entries, newest first. Iteration follows insertion order: the
// key text of every entry is preceded by a small block linking it to its
// neighbours in that order, and the bucket buffer is preceded by a header
// holding the first and last entry.
#include <cstdlib>
#include <cstring>

#include "amxc_priv.h"

namespace {

constexpr size_t default_buckets = 16;

// A switch for tests of code that must not depend on the walking order: with
// MXL_TEST_HTABLE_ORDER=reverse in the environment, every walk goes from the
// newest entry to the oldest, as a library walking in hash order may.
bool walk_reversed() {
    static const bool reversed = [] {
        const char* order = getenv("MXL_TEST_HTABLE_ORDER");
        return order != nullptr && strcmp(order, "reverse") == 0;
    }();
    return reversed;
}

struct KeyBlock {
    KeyBlock* prev;
    KeyBlock* next;
    amxc_htable_it_t* it;
    // followed by the NUL-terminated key text
};

struct TableHeader {
    KeyBlock* head;
    KeyBlock* tail;
};

char* block_text(KeyBlock* block) {
    return reinterpret_cast<char*>(block + 1);
}

KeyBlock* block_of(const char* key) {
    return key != nullptr ? reinterpret_cast<KeyBlock*>(const_cast<char*>(key)) - 1 : nullptr;
}

char* key_new(const char* key, amxc_htable_it_t* it) {
    size_t len = strlen(key);
    auto* block = static_cast<KeyBlock*>(malloc(sizeof(KeyBlock) + len + 1));
    if(block == nullptr) {
        return nullptr;
    }
    block->prev = nullptr;
    block->next = nullptr;
    block->it = it;
    memcpy(block_text(block), key, len + 1);
    return block_text(block);
}

void key_free(char* key) {
    free(block_of(key));
}

TableHeader* header_of(const amxc_htable_t* htable) {
    return htable->table.buffer != nullptr ? reinterpret_cast<TableHeader*>(htable->table.buffer) - 1 : nullptr;
}

amxc_htable_t* table_of(const amxc_htable_it_t* it) {
    return amxc_container_of(it->ait->array, amxc_htable_t, table);
}

unsigned int bkdr_hash(const char* key) {
    unsigned int hash = 0;
    for(const char* p = key; *p != 0; p++) {
        hash = hash * 131 + static_cast<unsigned char>(*p);
    }
    return hash;
}

void order_unlink(TableHeader* header, KeyBlock* block) {
    if(block->prev != nullptr) {
        block->prev->next = block->next;
    } else {
        header->head = block->next;
    }
    if(block->next != nullptr) {
        block->next->prev = block->prev;
    } else {
        header->tail = block->prev;
    }
    block->prev = nullptr;
    block->next = nullptr;
}

void order_insert_before(TableHeader* header, KeyBlock* block, KeyBlock* ref) {
    block->next = ref;
    block->prev = ref != nullptr ? ref->prev : header->tail;
    if(block->prev != nullptr) {
        block->prev->next = block;
    } else {
        header->head = block;
    }
    if(ref != nullptr) {
        ref->prev = block;
    } else {
        header->tail = block;
    }
}

void bucket_push(amxc_htable_t* htable, amxc_htable_it_t* it) {
    size_t index = amxc_htable_key2index(htable, it->key);
    amxc_array_it_t* bucket = &htable->table.buffer[index];
    it->next = static_cast<amxc_htable_it_t*>(bucket->data);
    it->ait = bucket;
    bucket->data = it;
    if(htable->items == 0 || index < htable->table.first_used) {
        htable->table.first_used = index;
    }
    if(htable->items == 0 || index > htable->table.last_used) {
        htable->table.last_used = index;
    }
}

// Allocates `capacity` empty buckets behind a header and re-chains every entry.
int rebuild(amxc_htable_t* htable, size_t capacity) {
    auto* header = static_cast<TableHeader*>(calloc(1, sizeof(TableHeader) + capacity * sizeof(amxc_array_it_t)));
    if(header == nullptr) {
        return -1;
    }
    TableHeader* old = header_of(htable);
    if(old != nullptr) {
        *header = *old;
    }
    auto* buckets = reinterpret_cast<amxc_array_it_t*>(header + 1);
    for(size_t i = 0; i < capacity; i++) {
        buckets[i].array = &htable->table;
    }
    htable->table.buffer = buckets;
    htable->table.items = capacity;
    free(old);

    size_t items = htable->items;
    htable->items = 0;
    for(KeyBlock* block = header->head; block != nullptr; block = block->next) {
        bucket_push(htable, block->it);
        htable->items++;
    }
    htable->items = items;
    return 0;
}

int ensure_room(amxc_htable_t* htable) {
    size_t capacity = htable->table.items;
    if(capacity == 0) {
        return rebuild(htable, default_buckets);
    }
    // Past 75% load: small tables quadruple, large ones double.
    if((htable->items + 1) * 4 > capacity * 3) {
        return rebuild(htable, capacity < 256 ? capacity * 4 : capacity * 2);
    }
    return 0;
}

int insert(amxc_htable_t* htable, const char* key, amxc_htable_it_t* it, amxc_htable_it_t* ref) {
    if(htable == nullptr || key == nullptr || *key == 0 || it == nullptr) {
        return -1;
    }
    amxc_htable_it_take(it);
    if(it->key == nullptr || strcmp(it->key, key) != 0) {
        char* text = key_new(key, it);
        if(text == nullptr) {
            return -1;
        }
        key_free(it->key);
        it->key = text;
    }
    if(ensure_room(htable) != 0) {
        return -1;
    }
    bucket_push(htable, it);
    htable->items++;
    KeyBlock* before =
        (ref != nullptr && ref->ait != nullptr && table_of(ref) == htable) ? block_of(ref->key) : nullptr;
    order_insert_before(header_of(htable), block_of(it->key), before);
    return 0;
}

} // namespace

int amxc_htable_insert_before(amxc_htable_t* htable, const char* key, amxc_htable_it_t* it, amxc_htable_it_t* ref) {
    return insert(htable, key, it, ref);
}

void amxc_htable_relocated(amxc_htable_t* htable) {
    for(size_t i = 0; i < htable->table.items; i++) {
        htable->table.buffer[i].array = &htable->table;
    }
}

extern "C" {

int amxc_htable_new(amxc_htable_t** htable, const size_t reserve) {
    if(htable == nullptr) {
        return -1;
    }
    *htable = static_cast<amxc_htable_t*>(calloc(1, sizeof(amxc_htable_t)));
    if(*htable == nullptr) {
        return -1;
    }
    if(amxc_htable_init(*htable, reserve) != 0) {
        free(*htable);
        *htable = nullptr;
        return -1;
    }
    return 0;
}

void amxc_htable_delete(amxc_htable_t** htable, amxc_htable_it_delete_t func) {
    if(htable == nullptr || *htable == nullptr) {
        return;
    }
    amxc_htable_clean(*htable, func);
    free(*htable);
    *htable = nullptr;
}

int amxc_htable_init(amxc_htable_t* const htable, const size_t reserve) {
    if(htable == nullptr) {
        return -1;
    }
    memset(htable, 0, sizeof(*htable));
    htable->hfunc = bkdr_hash;
    return reserve > 0 ? rebuild(htable, reserve) : 0;
}

void amxc_htable_clean(amxc_htable_t* const htable, amxc_htable_it_delete_t func) {
    if(htable == nullptr) {
        return;
    }
    htable->it_del = func;
    while(htable->items > 0) {
        amxc_htable_it_clean(amxc_htable_get_first(htable), func);
    }
    free(header_of(htable));
    htable->table.buffer = nullptr;
    htable->table.items = 0;
    htable->table.first_used = 0;
    htable->table.last_used = 0;
    htable->it_del = nullptr;
}

void amxc_htable_set_hash_func(amxc_htable_t* const htable, amxc_htable_hash_func_t func) {
    if(htable == nullptr) {
        return;
    }
    htable->hfunc = func != nullptr ? func : bkdr_hash;
    if(htable->table.items > 0) {
        rebuild(htable, htable->table.items);
    }
}

unsigned int amxc_htable_key2index(const amxc_htable_t* const htable, const char* const key) {
    if(htable == nullptr || key == nullptr || htable->table.items == 0) {
        return UINT32_MAX;
    }
    amxc_htable_hash_func_t hash = htable->hfunc != nullptr ? htable->hfunc : bkdr_hash;
    return static_cast<unsigned int>(hash(key) % htable->table.items);
}

int amxc_htable_insert(amxc_htable_t* const htable, const char* const key, amxc_htable_it_t* const it) {
    return insert(htable, key, it, nullptr);
}

amxc_htable_it_t* amxc_htable_get(const amxc_htable_t* const htable, const char* const key) {
    if(htable == nullptr || key == nullptr || htable->items == 0) {
        return nullptr;
    }
    auto* it = static_cast<amxc_htable_it_t*>(htable->table.buffer[amxc_htable_key2index(htable, key)].data);
    while(it != nullptr && strcmp(it->key, key) != 0) {
        it = it->next;
    }
    return it;
}

amxc_htable_it_t* amxc_htable_take(amxc_htable_t* const htable, const char* const key) {
    amxc_htable_it_t* it = amxc_htable_get(htable, key);
    amxc_htable_it_take(it);
    return it;
}

bool amxc_htable_contains(const amxc_htable_t* const htable, const char* const key) {
    return amxc_htable_get(htable, key) != nullptr;
}

amxc_htable_it_t* amxc_htable_get_first(const amxc_htable_t* const htable) {
    TableHeader* header = htable != nullptr ? header_of(htable) : nullptr;
    KeyBlock* first = header == nullptr ? nullptr : walk_reversed() ? header->tail : header->head;
    return first != nullptr ? first->it : nullptr;
}

amxc_htable_it_t* amxc_htable_get_last(const amxc_htable_t* const htable) {
    TableHeader* header = htable != nullptr ? header_of(htable) : nullptr;
    KeyBlock* last = header == nullptr ? nullptr : walk_reversed() ? header->head : header->tail;
    return last != nullptr ? last->it : nullptr;
}

amxc_array_t* amxc_htable_get_sorted_keys(const amxc_htable_t* const htable) {
    amxc_array_t* keys = nullptr;
    if(htable == nullptr || amxc_array_new(&keys, htable->items) != 0) {
        return nullptr;
    }
    size_t n = 0;
    for(amxc_htable_it_t* it = amxc_htable_get_first(htable); it != nullptr; it = amxc_htable_it_get_next(it)) {
        keys->buffer[n++].data = it->key;
    }
    if(n > 1) { // an empty table has no buffer, and qsort takes none
        qsort(keys->buffer, n, sizeof(amxc_array_it_t), [](const void* a, const void* b) {
            return strcmp(static_cast<const char*>(static_cast<const amxc_array_it_t*>(a)->data),
                          static_cast<const char*>(static_cast<const amxc_array_it_t*>(b)->data));
        });
    }
    keys->first_used = 0;
    keys->last_used = n > 0 ? n - 1 : 0;
    return keys;
}

int amxc_htable_it_init(amxc_htable_it_t* const it) {
    if(it == nullptr) {
        return -1;
    }
    it->ait = nullptr;
    it->key = nullptr;
    it->next = nullptr;
    return 0;
}

void amxc_htable_it_clean(amxc_htable_it_t* const it, amxc_htable_it_delete_t func) {
    if(it == nullptr) {
        return;
    }
    amxc_htable_it_take(it);
    // Detach the key first: the callback may free the structure around `it`.
    char* key = it->key;
    it->key = nullptr;
    if(func != nullptr) {
        func(key, it);
    }
    key_free(key);
}

amxc_htable_it_t* amxc_htable_it_get_next(const amxc_htable_it_t* const reference) {
    if(reference == nullptr || reference->ait == nullptr) {
        return nullptr;
    }
    KeyBlock* block = block_of(reference->key);
    KeyBlock* next = walk_reversed() ? block->prev : block->next;
    return next != nullptr ? next->it : nullptr;
}

amxc_htable_it_t* amxc_htable_it_get_previous(const amxc_htable_it_t* const reference) {
    if(reference == nullptr || reference->ait == nullptr) {
        return nullptr;
    }
    KeyBlock* block = block_of(reference->key);
    KeyBlock* prev = walk_reversed() ? block->next : block->prev;
    return prev != nullptr ? prev->it : nullptr;
}

amxc_htable_it_t* amxc_htable_it_get_next_key(const amxc_htable_it_t* const reference) {
    if(reference == nullptr || reference->ait == nullptr) {
        return nullptr;
    }
    amxc_htable_it_t* it = reference->next;
    while(it != nullptr && strcmp(it->key, reference->key) != 0) {
        it = it->next;
    }
    return it;
}

void amxc_htable_it_take(amxc_htable_it_t* const it) {
    if(it == nullptr || it->ait == nullptr) {
        return;
    }
    amxc_htable_t* htable = table_of(it);
    auto** link = reinterpret_cast<amxc_htable_it_t**>(&it->ait->data);
    while(*link != it) {
        link = &(*link)->next;
    }
    *link = it->next;
    order_unlink(header_of(htable), block_of(it->key));
    htable->items--;
    it->ait = nullptr;
    it->next = nullptr;
}

} // extern "C"

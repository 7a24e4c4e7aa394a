// Doubly linked list of intrusive nodes.
#include <cstdlib>

#include <amxc/amxc_llist.h>

namespace {

// Links an unlinked node between prev and next (either may be NULL).
void link_between(amxc_llist_t* list, amxc_llist_it_t* prev, amxc_llist_it_t* next, amxc_llist_it_t* it) {
    it->prev = prev;
    it->next = next;
    it->llist = list;
    if(prev != nullptr) {
        prev->next = it;
    } else {
        list->head = it;
    }
    if(next != nullptr) {
        next->prev = it;
    } else {
        list->tail = it;
    }
}

} // namespace

extern "C" {

int amxc_llist_new(amxc_llist_t** llist) {
    if(llist == nullptr) {
        return -1;
    }
    *llist = static_cast<amxc_llist_t*>(calloc(1, sizeof(amxc_llist_t)));
    return *llist != nullptr ? 0 : -1;
}

void amxc_llist_delete(amxc_llist_t** llist, amxc_llist_it_delete_t func) {
    if(llist == nullptr || *llist == nullptr) {
        return;
    }
    amxc_llist_clean(*llist, func);
    free(*llist);
    *llist = nullptr;
}

int amxc_llist_init(amxc_llist_t* const llist) {
    if(llist == nullptr) {
        return -1;
    }
    llist->head = nullptr;
    llist->tail = nullptr;
    return 0;
}

void amxc_llist_clean(amxc_llist_t* const llist, amxc_llist_it_delete_t func) {
    if(llist == nullptr) {
        return;
    }
    while(llist->head != nullptr) {
        amxc_llist_it_t* it = llist->head;
        amxc_llist_it_take(it);
        if(func != nullptr) {
            func(it);
        }
    }
}

int amxc_llist_move(amxc_llist_t* const dest, amxc_llist_t* const src) {
    if(dest == nullptr || src == nullptr || dest == src) {
        return 0;
    }
    while(src->head != nullptr) {
        amxc_llist_append(dest, src->head);
    }
    return 0;
}

int amxc_llist_append(amxc_llist_t* const llist, amxc_llist_it_t* const it) {
    if(llist == nullptr || it == nullptr) {
        return -1;
    }
    amxc_llist_it_take(it);
    link_between(llist, llist->tail, nullptr, it);
    return 0;
}

int amxc_llist_prepend(amxc_llist_t* const llist, amxc_llist_it_t* const it) {
    if(llist == nullptr || it == nullptr) {
        return -1;
    }
    amxc_llist_it_take(it);
    link_between(llist, nullptr, llist->head, it);
    return 0;
}

size_t amxc_llist_size(const amxc_llist_t* const llist) {
    size_t count = 0;
    for(const amxc_llist_it_t* it = amxc_llist_get_first(llist); it != nullptr; it = it->next) {
        count++;
    }
    return count;
}

bool amxc_llist_is_empty(const amxc_llist_t* const llist) {
    return llist == nullptr || llist->head == nullptr;
}

amxc_llist_it_t* amxc_llist_get_at(const amxc_llist_t* const llist, const unsigned int index) {
    amxc_llist_it_t* it = amxc_llist_get_first(llist);
    for(unsigned int i = 0; it != nullptr && i < index; i++) {
        it = it->next;
    }
    return it;
}

int amxc_llist_set_at(amxc_llist_t* const llist, const unsigned int index, amxc_llist_it_t* const it) {
    if(llist == nullptr || it == nullptr) {
        return -1;
    }
    amxc_llist_it_t* at = amxc_llist_get_at(llist, index);
    if(at != nullptr) {
        return amxc_llist_it_insert_before(at, it);
    }
    if(index == amxc_llist_size(llist)) {
        return amxc_llist_append(llist, it);
    }
    return -1;
}

int amxc_llist_sort(amxc_llist_t* const llist, amxc_llist_it_cmp_t cmp) {
    if(llist == nullptr || cmp == nullptr) {
        return -1;
    }
    bool swapped = true;
    while(swapped) {
        swapped = false;
        for(amxc_llist_it_t* it = llist->head; it != nullptr && it->next != nullptr; it = it->next) {
            if(cmp(it, it->next) > 0) {
                amxc_llist_it_swap(it, it->next);
                swapped = true;
            }
        }
    }
    return 0;
}

int amxc_llist_it_init(amxc_llist_it_t* const it) {
    if(it == nullptr) {
        return -1;
    }
    it->next = nullptr;
    it->prev = nullptr;
    it->llist = nullptr;
    return 0;
}

void amxc_llist_it_clean(amxc_llist_it_t* const it, amxc_llist_it_delete_t func) {
    if(it == nullptr) {
        return;
    }
    amxc_llist_it_take(it);
    if(func != nullptr) {
        func(it);
    }
}

void amxc_llist_it_take(amxc_llist_it_t* const it) {
    if(it == nullptr || it->llist == nullptr) {
        return;
    }
    amxc_llist_t* list = it->llist;
    if(it->prev != nullptr) {
        it->prev->next = it->next;
    } else {
        list->head = it->next;
    }
    if(it->next != nullptr) {
        it->next->prev = it->prev;
    } else {
        list->tail = it->prev;
    }
    amxc_llist_it_init(it);
}

int amxc_llist_it_insert_before(amxc_llist_it_t* const reference, amxc_llist_it_t* const it) {
    if(reference == nullptr || it == nullptr || reference->llist == nullptr || reference == it) {
        return -1;
    }
    amxc_llist_it_take(it);
    link_between(reference->llist, reference->prev, reference, it);
    return 0;
}

int amxc_llist_it_insert_after(amxc_llist_it_t* const reference, amxc_llist_it_t* const it) {
    if(reference == nullptr || it == nullptr || reference->llist == nullptr || reference == it) {
        return -1;
    }
    amxc_llist_it_take(it);
    link_between(reference->llist, reference, reference->next, it);
    return 0;
}

unsigned int amxc_llist_it_index_of(const amxc_llist_it_t* const it) {
    if(it == nullptr || it->llist == nullptr) {
        return AMXC_LLIST_RANGE;
    }
    unsigned int index = 0;
    for(const amxc_llist_it_t* cur = it->llist->head; cur != it; cur = cur->next) {
        index++;
    }
    return index;
}

int amxc_llist_it_swap(amxc_llist_it_t* it1, amxc_llist_it_t* it2) {
    if(it1 == nullptr || it2 == nullptr) {
        return -1;
    }
    if(it1 == it2) {
        return 0;
    }
    // Put a placeholder where it1 was, move it1 to it2's place, then it2 to the placeholder.
    amxc_llist_it_t mark{};
    amxc_llist_t* list1 = it1->llist;
    amxc_llist_t* list2 = it2->llist;
    if(list1 != nullptr) {
        amxc_llist_it_insert_before(it1, &mark);
    }
    if(list2 != nullptr) {
        amxc_llist_it_insert_before(it2, it1);
    } else {
        amxc_llist_it_take(it1);
    }
    if(list1 != nullptr) {
        amxc_llist_it_insert_before(&mark, it2);
        amxc_llist_it_take(&mark);
    } else {
        amxc_llist_it_take(it2);
    }
    return 0;
}

} // extern "C"

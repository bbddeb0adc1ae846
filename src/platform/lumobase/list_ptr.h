// A linked list of untyped pointers whose iterators survive the erasing of their element.
#pragma once

#include <cstddef>

/// Frees its nodes, never what they point to. Not synchronised.
class CListPtr {
    struct Node {
        void* value;
        Node* prev;
        Node* next;
    };

public:
    /// Carries a copy of its node's value and links: incrementing stays valid after the element was erased.
    class iterator {
    public:
        iterator() = default;
        void* operator*() const { return m_value; }
        iterator& operator++();
        bool operator==(const iterator& other) const { return m_node == other.m_node; }
        bool operator!=(const iterator& other) const { return m_node != other.m_node; }

    private:
        friend class CListPtr;
        explicit iterator(Node* node);
        Node* m_node = nullptr;
        Node* m_next = nullptr;
        void* m_value = nullptr;
    };

    CListPtr();
    virtual ~CListPtr();
    CListPtr(const CListPtr&) = delete;
    CListPtr& operator=(const CListPtr&) = delete;

    void push_back(void* value);
    void pop_front();
    void* front() const;
    unsigned long size() const;
    iterator begin() const;
    iterator end() const;
    /// Inserts before the position.
    iterator insert(iterator position, void* value);
    /// Removes the designated element; the given iterator can still be incremented.
    void erase(iterator position);

private:
    Node m_head;  // ring: first is m_head.next, last is m_head.prev
    size_t m_nSize;
};

#include "platform/lumobase/list_ptr.h"

CListPtr::iterator::iterator(Node* node) : m_node(node), m_next(node->next), m_value(node->value) {}

CListPtr::iterator& CListPtr::iterator::operator++() {
    *this = iterator(m_next);
    return *this;
}

CListPtr::CListPtr() : m_head{nullptr, &m_head, &m_head}, m_nSize(0) {}

CListPtr::~CListPtr() {
    for (Node* node = m_head.next; node != &m_head;) {
        Node* next = node->next;
        delete node;
        node = next;
    }
}

void CListPtr::push_back(void* value) { insert(end(), value); }

void CListPtr::pop_front() { erase(begin()); }

void* CListPtr::front() const { return m_head.next->value; }

unsigned long CListPtr::size() const { return m_nSize; }

CListPtr::iterator CListPtr::begin() const { return iterator(m_head.next); }

CListPtr::iterator CListPtr::end() const { return iterator(const_cast<Node*>(&m_head)); }

CListPtr::iterator CListPtr::insert(iterator position, void* value) {
    Node* next = position.m_node;
    Node* node = new Node{value, next->prev, next};
    node->prev->next = node;
    next->prev = node;
    ++m_nSize;
    return iterator(node);
}

void CListPtr::erase(iterator position) {
    Node* node = position.m_node;
    if (node == &m_head) return;
    node->prev->next = node->next;
    node->next->prev = node->prev;
    delete node;
    --m_nSize;
}

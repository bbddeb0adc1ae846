#include "tools/lumo/board/undo.h"

#include <algorithm>
#include <utility>

namespace lumo {
namespace {

size_t BytesOf(const BoardStep& step) {
    size_t bytes = (step.added.size() + step.moved.size()) * sizeof(uint32_t);
    for (const RemovedObject& object : step.removed) bytes += sizeof object + object.record.size();
    return bytes;
}

}  // namespace

void CUndo::Note(BoardStep step) {
    if (step.Empty()) return;
    m_redo.clear();
    Put(false, std::move(step));
}

bool CUndo::Take(bool redo, BoardStep& step) {
    Stack& stack = Steps(redo);
    if (stack.empty()) return false;
    step = std::move(stack.back());
    stack.pop_back();
    const bool exchange = step.IsExchange();
    for (size_t i = step.removed.size(); i-- > 0;) {
        if (m_forgotten.count(step.removed[i].id) == 0) continue;
        step.removed.erase(step.removed.begin() + static_cast<std::ptrdiff_t>(i));
        if (exchange) step.added.erase(step.added.begin() + static_cast<std::ptrdiff_t>(i));  // nothing is left for it
    }
    return true;
}

void CUndo::Put(bool redo, BoardStep step) {
    Steps(redo).push_back(std::move(step));
    AddToIndex(Steps(redo).back());
    Trim(Steps(redo));
    if (m_removed.size() > m_nIndexAgain) Index();
}

void CUndo::AddToIndex(const BoardStep& step) {
    for (const RemovedObject& object : step.removed) m_removed.insert(object.id);
}

void CUndo::Index() {
    constexpr size_t kFew = 10000;
    m_removed.clear();
    for (const Stack* stack : {&m_undo, &m_redo})
        for (const BoardStep& step : *stack) AddToIndex(step);
    std::erase_if(m_forgotten, [this](uint32_t id) { return m_removed.count(id) == 0; });
    m_nIndexAgain = std::max(kFew, 2 * m_removed.size());
}

// The steps are looked through when they are taken: others may delete one object after the other.
void CUndo::Forget(const std::vector<uint32_t>& ids) {
    for (const uint32_t id : ids)
        if (m_removed.count(id) != 0) m_forgotten.insert(id);
}

void CUndo::Trim(Stack& stack) {
    size_t bytes = 0;
    for (const BoardStep& step : stack) bytes += BytesOf(step);
    while (stack.size() > 1 && (stack.size() > kMaxSteps || bytes > kMaxBytes)) {
        bytes -= BytesOf(stack.front());
        stack.pop_front();
    }
}

const std::string* CUndo::RecordOf(uint32_t id) const {
    for (const Stack* stack : {&m_undo, &m_redo}) {
        for (const BoardStep& step : *stack) {
            for (const RemovedObject& object : step.removed)
                if (object.id == id) return &object.record;
        }
    }
    return nullptr;
}

void CUndo::Rename(const std::map<uint32_t, uint32_t>& names) {
    const auto rename = [&](uint32_t& id) {
        const auto found = names.find(id);
        if (found != names.end()) id = found->second;
    };
    for (Stack* stack : {&m_undo, &m_redo}) {
        for (BoardStep& step : *stack) {
            for (uint32_t& id : step.added) rename(id);
            for (uint32_t& id : step.moved) rename(id);
            for (RemovedObject& object : step.removed) rename(object.id);
            AddToIndex(step);
        }
    }
}

}  // namespace lumo

#include "tools/lumo/ui/completion.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace lumo {
namespace {

/// Where on the line the last word stands.
class CCursor {
public:
    CCursor(const CommandInfo& root, const std::vector<std::string>& typed) : m_pCommand(&root) {
        for (size_t i = 0; i + 1 < typed.size(); ++i) Pass(typed[i]);
    }

    const CommandInfo& Command() const { return *m_pCommand; }
    /// The option whose value it is.
    const OptionInfo* Valued() const { return m_pValued; }
    bool TakesOptions() const { return !m_bWordsOnly; }
    bool WasGiven(const OptionInfo& option) const { return m_given.count(option.name) != 0; }
    /// What a word without a name before it would be; null: none fits.
    const OptionInfo* Positional() const {
        size_t left = m_nWords;
        for (const OptionInfo& option : m_pCommand->options) {
            if (option.positional && (option.repeats || left-- == 0)) return &option;
        }
        return nullptr;
    }
    const OptionInfo* Find(const std::string& name) const {
        for (const OptionInfo& option : m_pCommand->options) {
            const std::vector<std::string> names = option.Names();
            if (std::find(names.begin(), names.end(), name) != names.end()) return &option;
        }
        return nullptr;
    }

private:
    void Pass(const std::string& word) {
        if (m_pValued) {
            m_pValued = nullptr;
        } else if (!m_bWordsOnly && word.size() > 1 && word.front() == '-') {
            PassOption(word);
        } else if (const CommandInfo* sub = m_nWords == 0 ? m_pCommand->Find(word) : nullptr) {
            m_pCommand = sub;
            m_given.clear();
        } else {
            ++m_nWords;
        }
    }
    void PassOption(const std::string& word) {
        m_bWordsOnly = word == "--";
        const OptionInfo* option = Find(word.substr(0, word.find('=')));
        if (!option) return;
        m_given.insert(option->name);
        if (!option->value.empty() && word.find('=') == std::string::npos) m_pValued = option;
    }

    const CommandInfo* m_pCommand;
    const OptionInfo* m_pValued = nullptr;
    std::set<std::string> m_given;
    size_t m_nWords = 0;
    bool m_bWordsOnly = false;
};

class CAnswer {
public:
    explicit CAnswer(std::string begun) : m_strBegun(std::move(begun)) {}

    void Offer(const std::string& word, const std::string& words) {
        if (word.compare(0, m_strBegun.size(), m_strBegun) != 0) return;
        m_strText += word + "\t" + words.substr(0, words.find(". ")) + "\n";
    }
    void OfferSubs(const CommandInfo& command) {
        for (const CommandInfo& sub : command.subs) {
            if (!sub.group.empty()) Offer(sub.Word(), sub.help);
        }
    }
    void OfferOptions(const CCursor& cursor) {
        for (const OptionInfo& option : cursor.Command().options) {
            if (cursor.WasGiven(option) && !option.repeats) continue;
            for (const std::string& name : option.Names()) Offer(name, option.help);
        }
    }
    /// A value that is called that, behind `before`.
    void OfferValue(const std::string& value, const std::string& before) {
        for (const std::string& one : SplitAt(value, '|')) {
            if (one.find("FILE") != std::string::npos) m_strElse = ":files\n";
            if (one.find("DIRECTORY") != std::string::npos && m_strElse == kNothing) m_strElse = ":directories\n";
            if (!one.empty() && std::islower(static_cast<unsigned char>(one.front()))) Offer(before + one, "");
        }
    }
    std::string Text() const { return m_strText + m_strElse; }

private:
    static constexpr const char* kNothing = ":nothing\n";

    const std::string m_strBegun;
    std::string m_strText, m_strElse = kNothing;
};

/// Which command the words behind `help` name.
const CommandInfo& Helped(const CommandInfo& root, const std::vector<std::string>& typed) {
    const CommandInfo* command = &root;
    for (size_t i = 1; i + 1 < typed.size(); ++i) {
        if (const CommandInfo* sub = command->Find(typed[i])) command = sub;
    }
    return *command;
}

}  // namespace

std::string CompletionAnswer(const CommandInfo& root, const std::vector<std::string>& typed) {
    const std::string begun = typed.empty() ? "" : typed.back();
    const CCursor cursor(root, typed);
    CAnswer answer(begun);
    const size_t equals = begun.rfind("--", 0) == 0 ? begun.find('=') : std::string::npos;
    const OptionInfo* const inside = equals == std::string::npos ? nullptr : cursor.Find(begun.substr(0, equals));
    const OptionInfo* const positional = cursor.Positional();
    const bool wantsOption = cursor.TakesOptions() && !begun.empty() && begun.front() == '-';
    if (cursor.Valued()) {
        answer.OfferValue(cursor.Valued()->value, "");
    } else if (cursor.TakesOptions() && inside) {
        answer.OfferValue(inside->value, begun.substr(0, equals + 1));
    } else if (!wantsOption && !cursor.Command().subs.empty()) {
        answer.OfferSubs(cursor.Command());
    } else if (!wantsOption && positional && positional->name == "COMMAND") {
        answer.OfferSubs(Helped(root, typed));
    } else if (!wantsOption && positional) {
        answer.OfferValue(positional->value.empty() ? positional->name : positional->value, "");
    } else {
        answer.OfferOptions(cursor);
    }
    return answer.Text();
}

}  // namespace lumo

// What shells offer to complete. Their scripts ask the program, so that they offer what it knows.
#pragma once

#include "tools/lumo/ui/command_info.h"

#include <string>
#include <vector>

namespace lumo {

/// The word by which the scripts ask: what follows it is what was typed, the word to complete last.
inline constexpr const char* kCompletionRequest = "__complete";

/// The answer: a line for each word that could stand there, its description behind a tab, and a last line that says
/// what else could: ":files", ":directories" or ":nothing".
std::string CompletionAnswer(const CommandInfo& root, const std::vector<std::string>& typed);
/// The script for "bash", "zsh" or "fish".
std::string CompletionScript(const std::string& shell);

}  // namespace lumo

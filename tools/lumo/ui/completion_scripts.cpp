#include "tools/lumo/ui/completion.h"

namespace lumo {
namespace {

constexpr const char* kBash = R"~(# bash completion of lumo, which says itself what fits.
_lumo() {
    local before=${COMP_LINE:0:COMP_POINT} words=("") char quote= escaped= line last more= offered=()
    while IFS= read -r -n1 -d '' char; do
        if [[ $escaped ]]; then
            words[-1]+=$char escaped=
        elif [[ $char == \\ && $quote != \' ]]; then
            escaped=yes
        elif [[ $quote ]]; then
            if [[ $char == "$quote" ]]; then quote=; else words[-1]+=$char; fi
        elif [[ $char == [\'\"] ]]; then
            quote=$char
        elif [[ $char == [[:space:]] ]]; then
            [[ -z ${words[-1]} ]] || words+=("")
        else
            words[-1]+=$char
        fi
    done < <(printf %s "$before")
    last=${words[-1]}
    while IFS= read -r line; do
        case $line in
            :files) more=-f ;;
            :directories) more=-d ;;
            :*) ;;
            *) offered+=("${line%%$'\t'*}") ;;
        esac
    done < <("${words[0]}" __complete "${words[@]:1}" 2>/dev/null)
    # What stands before an equals sign is a word of its own to bash.
    if [[ $last == --*=* && $COMP_WORDBREAKS == *=* ]]; then
        offered=("${offered[@]#"${last%%=*}="}")
        last=${last#*=}
    fi
    COMPREPLY=("${offered[@]}")
    [[ $more ]] || return 0
    compopt -o filenames 2>/dev/null
    while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen "$more" -- "$last")
}
complete -F _lumo lumo
)~";

constexpr const char* kZsh = R"~(#compdef lumo
# zsh completion of lumo, which says itself what fits.
_lumo() {
    local -a offered
    local line about more= tab=$'\t'
    for line in "${(@f)$("${(Q)words[1]}" __complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)}"; do
        case $line in
            :files) more=_files ;;
            :directories) more='_files -/' ;;
            :*) ;;
            *) about=${line#*$tab} offered+=("${${line%%$tab*}//:/\\:}${about:+:$about}") ;;
        esac
    done
    (( $#offered )) && _describe lumo offered
    [[ -n $more && $PREFIX == --*=* ]] && compset -P '*='
    [[ -z $more ]] || ${=more}
}
if [[ $funcstack[1] == _lumo ]]; then _lumo "$@"; else compdef _lumo lumo; fi
)~";

constexpr const char* kFish = R"~(# fish completion of lumo, which says itself what fits.
function __lumo_complete
    set -l words (commandline -opc)
    set -l last (commandline -ct)
    set -l value (string replace -r '^--[^=]*=' '' -- "$last")
    for line in ($words[1] __complete $words[2..] "$last" 2>/dev/null)
        switch $line
            case :files
                __fish_complete_path "$value"
            case :directories
                __fish_complete_directories "$value"
            case ':*'
            case '*'
                echo $line
        end
    end
end
complete -c lumo -f -a '(__lumo_complete)'
)~";

}  // namespace

std::string CompletionScript(const std::string& shell) {
    if (shell == "bash") return kBash;
    return shell == "zsh" ? kZsh : kFish;
}

}  // namespace lumo

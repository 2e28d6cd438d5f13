# bash completion for posteffect. Commands, options and effects are asked of the command itself, so
# that this file needs no list of them.

# The words at the beginning of the lines of "posteffect $1 --help": options, or the commands.
_posteffect_options() {
    "$_posteffect_command" ${1:+"$1"} --help 2>/dev/null |
        grep -oE '(^|[ ,])--?[A-Za-z][A-Za-z0-9-]*' | tr -d ' ,' | sort -u
}
_posteffect_commands() {
    "$_posteffect_command" --help 2>/dev/null |
        sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z-]*\) .*/\1/p'
}
_posteffect_effects() {
    "$_posteffect_command" list 2>/dev/null | sed -n 's/^\([a-z][a-z-]*\) .*/\1/p'
}
# The names that the option $1 takes, if it takes names.
_posteffect_choices() {
    "$_posteffect_command" list 2>/dev/null |
        sed -n "s/^  $1 .*name; \\([a-z|]*\\), default.*/\\1/p" | tr '|' '\n'
}

_posteffect() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=""
    local _posteffect_command=${COMP_WORDS[0]}
    ((COMP_CWORD > 1)) && command=${COMP_WORDS[1]}
    COMPREPLY=()
    if [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_posteffect_commands) --help --version" -- "$current")
        return
    fi
    local words=""
    case $previous in
        -e | --effect) words=$(_posteffect_effects) ;;
        --metadata) words="keep icc strip" ;;
        --orient) words="auto ignore" ;;
        --*) words=$(_posteffect_choices "$previous") ;;
    esac
    if [[ -z $words && $current == -* ]]; then
        words=$(_posteffect_options "$command")
    fi
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
        return
    fi
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
}
complete -F _posteffect posteffect

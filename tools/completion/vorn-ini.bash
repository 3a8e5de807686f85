# Completes vorn-ini in bash: commands, files, and the sections and keys of the file.
_vorn_ini() {
    local words=() word current=${COMP_WORDS[COMP_CWORD]} found=""
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == --case-sensitive ]] || words+=("${word//\\/}")
    done
    COMPREPLY=()
    case ${#words[@]}:${words[0]:-} in
    0:*) found=$'get\nset\nunset\nlist\nsections\n--case-sensitive\n--help\n--version' ;;
    1:*) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    2:get | 2:set | 2:unset | 2:list) found=$(vorn-ini sections "${words[1]}" 2>/dev/null) ;;
    3:get | 3:set | 3:unset)
        found=$(vorn-ini list "${words[1]}" "${words[2]}" 2>/dev/null | sed -n 's/=.*//p')
        ;;
    *:get) found=$'--default\n--type' ;;
    *:set) found=--type ;;
    esac
    [[ ${COMP_WORDS[COMP_CWORD - 1]} != --type ]] || found=$'bool\nint\nfloat'
    # Names may hold blanks; what is typed may be quoted.
    while IFS= read -r word; do
        [[ -n $word && $word == "${current#[\'\"]}"* ]] && COMPREPLY+=("$(printf %q "$word")")
    done <<<"$found"
}
complete -F _vorn_ini vorn-ini

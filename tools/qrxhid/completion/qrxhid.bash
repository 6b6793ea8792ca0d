# Completion of qrxhid for bash. The program itself knows what can follow.

_qrxhid()
{
    # Bash cuts words at colons and equals signs, which IDs and serial numbers have: the line is cut at blanks instead.
    local line=${COMP_LINE:0:COMP_POINT} word cut
    local -a words
    read -ra words <<<"$line"
    if [[ $line == *[[:blank:]] ]]; then
        words+=("")
    fi
    word=${words[-1]}
    mapfile -t COMPREPLY < <("${words[0]}" complete -- "${words[@]:1}" 2>/dev/null)
    # Bash puts the answer in place of what follows the last cut.
    cut=${word%"${word##*[:=]}"}
    COMPREPLY=("${COMPREPLY[@]#"$cut"}")
}

# Where nothing is known to follow, names of files are.
complete -o default -F _qrxhid qrxhid

# Completion of qrxhid for fish. The program itself knows what can follow; where nothing is, names of files are offered.

function __qrxhid_candidates
    set -l words (commandline -opc)
    set -l found ($words[1] complete -- $words[2..-1] (commandline -ct) 2>/dev/null)
    if test (count $found) -gt 0
        printf '%s\n' $found
    else
        __fish_complete_path (commandline -ct)
    end
end

complete -c qrxhid -f -a '(__qrxhid_candidates)'

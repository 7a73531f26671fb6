# What fish completes behind quorvin: the program itself says what fits.

function __quorvin_complete
    set -l typed (commandline -opc)
    set -l word (commandline -ct)
    set -l answer ($typed[1] __complete $typed[2..-1] (string unescape -- $word; or echo -- $word) 2>/dev/null)
    switch "$answer[1]"
        case files
            __fish_complete_path $word
        case folders
            __fish_complete_directories $word
    end
    if set -q answer[2]
        printf '%s\n' $answer[2..-1]
    end
end

complete -c quorvin -f -k -a '(__quorvin_complete)'

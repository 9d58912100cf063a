# Completion of tarn for fish: asks the program, which knows its command line.
function __tarn_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    for line in ($words[1] complete -- $words[2..] "$word" 2>/dev/null)
        if test "$line" = files
            __fish_complete_path "$word"
        else
            echo $line
        end
    end
end
complete -c tarn -f -a '(__tarn_complete)'

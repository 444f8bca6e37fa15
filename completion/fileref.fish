# fish completion for fileref(1). The command itself knows its words: `fileref __complete`.

function __fileref_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    for line in ($words[1] __complete $words[2..] $current 2>/dev/null)
        set -l prefix (string replace -r '^@\w+ ' '' -- $line)
        set -l begun (string sub -s (math 1 + (string length -- $prefix)) -- $current)
        switch $line
            case '=*'
                string sub -s 2 -- $line
            case '@files *'
                printf '%s\n' $prefix(__fish_complete_path $begun)
            case '@hosts *'
                set -l end
                string match -q 'sftp://*' -- $prefix; and set end /
                printf '%s\n' $prefix(__fish_print_hostnames)$end
        end
    end
end

complete -c fileref -f -a '(__fileref_complete)'

# Completion of wavehost for fish.

# The words of the command line that are neither options nor their values, without the program's name.
function __wavehost_words
    set -l skip 0
    for word in (commandline -opc)[2..-1]
        if test $skip = 1
            set skip 0
        else if contains -- $word --module -o --output --format --from --to --picture --remove --from-json --name
            set skip 1
        else if not string match -q -- '-*' $word
            echo -- $word
        end
    end
end

function __wavehost_command
    set -l words (__wavehost_words)
    contains -- "$words[1]" $argv
end

# True for the word behind `options` and these many others.
function __wavehost_option_word
    set -l words (__wavehost_words)
    test "$words[1]" = options; and test (count $words) = (math $argv[1] + 1)
end

# Folders, and the files whose names end in one of these endings.
function __wavehost_files
    set -l typed (string replace -r '^--[a-z-]+=' '' -- (commandline -ct))
    complete -C "__fish_command_without_completions $typed" | string match -ri -- '^.*(?:/|\.(?:'$argv[1]'))$'
end

# The names that people use most; a tag may have any.
function __wavehost_tag_names
    printf '%s\n' Title Artist Album 'Album Artist' Composer Genre Year Track Disc Comment Copyright ISRC Label \
        Lyrics Rating
end

# The options for tags, or the choices of the option that is typed, as the module tells them.
function __wavehost_tag_options
    set -l wanted (__wavehost_words)[3]
    set -l program (commandline -opc)[1]
    set -l name
    for line in ($program options 2>/dev/null)
        if test -z "$line"
            break
        else if not string match -q ' *' -- $line
            set name $line
            test -n "$wanted"; or echo -- $line
        else if test -n "$wanted"; and test (string lower -- $name) = (string lower -- $wanted)
            string sub -s 5 -- $line
        end
    end
end

function __wavehost_pictures
    set -l kinds other icon other-icon front back leaflet media lead artist conductor band composer writer \
        location recording performance video illustration logo publisher
    set -l typed (string replace -r '^--picture=' '' -- (commandline -ct))
    if string match -q '*:*' -- $typed
        printf '%s\n' (string replace -r ':[^:]*$' ':' -- $typed)$kinds
    else
        __wavehost_files 'jpe?g|png|gif|webp|bmp|tiff?'
    end
end

complete -c wavehost -f
complete -c wavehost -l json -d 'Print one JSON object a file'
complete -c wavehost -l report -d "Show the module's diagnostic report"
complete -c wavehost -s q -l quiet -d 'No progress and no summary'
complete -c wavehost -l module -x -a '(__wavehost_files dll)' -d 'The codec module'
complete -c wavehost -s h -l help -d 'Print help'

complete -c wavehost -n '__wavehost_command ""' -l version -d 'Print the version'
complete -c wavehost -n '__wavehost_command ""' -a info -d 'Describe files'
complete -c wavehost -n '__wavehost_command ""' -a tags -d 'List the tags of files'
complete -c wavehost -n '__wavehost_command ""' -a art -d 'Put the pictures of files into files of their own'
complete -c wavehost -n '__wavehost_command ""' -a decode -d 'Decode files, or check that they can be'
complete -c wavehost -n '__wavehost_command ""' -a tag -d 'Set tags and pictures of files'
complete -c wavehost -n '__wavehost_command ""' -a untag -d 'Remove tags from files'
complete -c wavehost -n '__wavehost_command ""' -a options -d 'Show or choose the options for tags'
complete -c wavehost -n '__wavehost_command ""' -a formats -d 'Show what the module can do'

complete -c wavehost -n '__wavehost_command info tags art decode tag untag' -a '(__wavehost_files "wav|bwf")'

complete -c wavehost -n '__wavehost_command tags' -l raw -d 'The reserved entries, too'

complete -c wavehost -n '__wavehost_command art' -s o -l output -x -a '(__fish_complete_directories)' -d 'The folder'
complete -c wavehost -n '__wavehost_command art decode' -s f -l force -d 'Replace existing files'

complete -c wavehost -n '__wavehost_command decode' -s o -l output -r -F -d 'A file, a folder, or - for standard output'
complete -c wavehost -n '__wavehost_command decode' -l format -x -a 'wav raw' -d "Overrides what the output's name tells"
complete -c wavehost -n '__wavehost_command decode' -l from -x -d 'Where to begin: a sample frame or a time'
complete -c wavehost -n '__wavehost_command decode' -l to -x -d 'Where to end: a sample frame or a time'

complete -c wavehost -n '__wavehost_command tag' -a '(__wavehost_tag_names)=' -d Tag
complete -c wavehost -n '__wavehost_command tag' -l picture -x -a '(__wavehost_pictures)' -d 'Add a picture'
complete -c wavehost -n '__wavehost_command tag' -l remove -x -a '(__wavehost_tag_names)' -d 'Remove a tag'
complete -c wavehost -n '__wavehost_command tag' -l from-json -x -a '(__wavehost_files json)' \
    -d 'Set the tags of a JSON file'
complete -c wavehost -n '__wavehost_command tag untag' -l dry-run -d 'Say what would change, and change nothing'
complete -c wavehost -n '__wavehost_command tag untag' -l verify -d 'Compare the stored audio before and after'
complete -c wavehost -n '__wavehost_command tag untag' -l keep-mtime -d 'Restore the modification time'

complete -c wavehost -n '__wavehost_command untag' -a '(__wavehost_tag_names)' -d Tag
complete -c wavehost -n '__wavehost_command untag' -l name -x -a '(__wavehost_tag_names)' -d 'A tag to remove'
complete -c wavehost -n '__wavehost_command untag' -s y -l yes -d 'Remove all tags without asking'

complete -c wavehost -n '__wavehost_option_word 0' -a set -d 'Store a choice'
complete -c wavehost -n '__wavehost_option_word 1; and contains -- set (__wavehost_words)' -a '(__wavehost_tag_options)'
complete -c wavehost -n '__wavehost_option_word 2' -a '(__wavehost_tag_options)'

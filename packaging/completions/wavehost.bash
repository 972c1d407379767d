# Completion of wavehost for bash, with the functions of the bash-completion package.

# Offers those of the standard input's lines that begin with what is typed, each as one word.
_wavehost_offer()
{
    local line quote= typed=$cur
    case $cur in
        [\"\']*) quote=${cur:0:1} typed=${cur:1} ;;
        *) typed=${cur//\\/} ;;
    esac
    while IFS= read -r line; do
        [[ $line == "$typed"* ]] || continue
        [[ $quote ]] || printf -v line %q "$line"
        COMPREPLY+=("$line")
    done
}

# The names that people use most; a tag may have any.
_wavehost_tag_names()
{
    printf "%s${1-}\n" Title Artist Album 'Album Artist' Composer Genre Year Track Disc Comment \
        Copyright ISRC Label Lyrics Rating
}

# The options for tags, or the choices of the option $1, as the module tells them.
_wavehost_tag_options()
{
    local line name=
    while IFS= read -r line && [[ $line ]]; do
        if [[ $line != ' '* ]]; then
            name=$line
            (($#)) || printf '%s\n' "$name"
        elif (($#)) && [[ $name == "$1" ]]; then
            printf '%s\n' "${line:4}"
        fi
    done < <("${words[0]/#\~/$HOME}" options 2>/dev/null)
}

_wavehost_picture()
{
    local kinds='other icon other-icon front back leaflet media lead artist conductor band composer
        writer location recording performance video illustration logo publisher'
    if [[ $cur == *:* ]]; then
        COMPREPLY=($(compgen -P "${cur%:*}:" -W "$kinds" -- "${cur##*:}"))
        __ltrim_colon_completions "$cur"
    else
        _filedir '@(jp?(e)g|png|gif|webp|bmp|tif?(f))'
    fi
}

_wavehost()
{
    local cur prev words cword split
    _init_completion -s -n : || return

    local command= operands=0 files_only= i
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
            --) files_only=1 ;;
            --module) ((++i)) ;;
            -*) ;;
            *) if [[ $command ]]; then ((++operands)); else command=${words[i]}; fi ;;
        esac
    done

    if [[ ! $files_only ]]; then
        case $prev in
            --module) _filedir dll && return ;;
            --format) COMPREPLY=($(compgen -W 'wav raw' -- "$cur")) && return ;;
            --from | --to) return ;;
            --from-json) _filedir json && return ;;
            --picture) _wavehost_picture && return ;;
            --remove | --name) _wavehost_offer < <(_wavehost_tag_names) && return ;;
            -o | --output)
                if [[ $command == art ]]; then _filedir -d; else _filedir '@(wav|raw)'; fi
                return
                ;;
        esac
        $split && return
    fi

    if [[ $cur == -* && ! $files_only ]]; then
        local options='--json --report -q --quiet --module -h --help'
        case $command in
            '') options+=' --version' ;;
            tags) options+=' --raw' ;;
            art) options+=' -o --output -f --force' ;;
            decode) options+=' -o --output --format --from --to -f --force' ;;
            tag) options+=' --picture --remove --from-json --dry-run --verify --keep-mtime' ;;
            untag) options+=' --name -y --yes --dry-run --verify --keep-mtime' ;;
        esac
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi

    case $command in
        '') COMPREPLY=($(compgen -W 'info tags art decode tag untag options formats' -- "$cur")) ;;
        formats) ;;
        options)
            case $operands in
                0) COMPREPLY=($(compgen -W set -- "$cur")) ;;
                1) _wavehost_offer < <(_wavehost_tag_options) ;;
                2) _wavehost_offer < <(_wavehost_tag_options "${words[cword - 1]//[\\\"\']/}") ;;
            esac
            ;;
        *)
            _filedir '@(wav|bwf)'
            if [[ $command == tag && $cur != *=* && ! $files_only ]]; then
                _wavehost_offer < <(_wavehost_tag_names =)
                [[ ${COMPREPLY-} != *= ]] || compopt -o nospace
            elif [[ $command == untag && ! $files_only ]]; then
                _wavehost_offer < <(_wavehost_tag_names)
            fi
            ;;
    esac
} && complete -F _wavehost wavehost

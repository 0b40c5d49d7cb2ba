# bash completion for quillmere
_quillmere() {
    local cur prev words cword
    _init_completion 2>/dev/null || {
        cur="${COMP_WORDS[COMP_CWORD]}"; prev="${COMP_WORDS[COMP_CWORD-1]}"
        words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD
    }
    local commands="advisor alerts apps bar config energy events explain history record sample search sensors status timeline top"
    local command="" sub="" i
    for ((i = 1; i < cword; i++)); do
        case "${words[i]}" in
            -*) ;;
            *) if [[ -z "$command" ]]; then command="${words[i]}"; elif [[ -z "$sub" ]]; then sub="${words[i]}"; fi ;;
        esac
    done

    case "$prev" in
        --db) COMPREPLY=($(compgen -f -- "$cur")); return ;;
        --filter) COMPREPLY=($(compgen -W "all apps background system" -- "$cur")); return ;;
        --sort) COMPREPLY=($(compgen -W "cpu memory power disk" -- "$cur")); return ;;
        --style) COMPREPLY=($(compgen -W "icon cpu cpuMemory temperature power" -- "$cur")); return ;;
        --format) COMPREPLY=($(compgen -W "text waybar" -- "$cur")); return ;;
        --range) COMPREPLY=($(compgen -W "1h 24h 7d 30d" -- "$cur")); return ;;
        --table) COMPREPLY=($(compgen -W "system apps events" -- "$cur")); return ;;
        --since|--at|--from|--to) COMPREPLY=($(compgen -W "30m 2h 24h 7d" -- "$cur")); return ;;
        -n|--count|-i|--interval|--query|--pid) return ;;
    esac

    local options=""
    case "$command" in
        "") COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur")); return ;;
        status|sensors|search|explain) options="--json" ;;
        sample) options="--count --interval --live --json" ;;
        top) options="--interval" ;;
        apps) options="--filter --query --sort --tree --pid --json" ;;
        bar) options="--style --format --follow --interval --json" ;;
        record) options="--db --quiet --no-notify --json" ;;
        events) options="--since --json --db" ;;
        timeline) options="--range --at --json --db" ;;
        energy|advisor) options="--json --db" ;;
        alerts) [[ -z "$sub" ]] && { COMPREPLY=($(compgen -W "test" -- "$cur")); return; } ;;
        history)
            if [[ -z "$sub" ]]; then COMPREPLY=($(compgen -W "size erase export --db" -- "$cur")); return; fi
            case "$sub" in erase) options="--yes" ;; export) options="--csv --json --table --from --to" ;; size) options="--json" ;; esac ;;
        config)
            if [[ -z "$sub" ]]; then COMPREPLY=($(compgen -W "get set unset list" -- "$cur")); return; fi
            case "$sub" in
                get|set|unset)
                    if [[ "$prev" == "$sub" ]]; then
                        local keys
                        keys="$(quillmere config list 2>/dev/null | awk '{print $1}')"
                        COMPREPLY=($(compgen -W "$keys" -- "$cur")); return
                    fi ;;
                list) options="--json" ;;
            esac ;;
    esac
    COMPREPLY=($(compgen -W "$options --help" -- "$cur"))
}
complete -F _quillmere quillmere

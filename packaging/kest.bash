# bash completion for kest; what options there are is asked of the program

_kest() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local line name options='' value='' words='' offered=yes
    while IFS= read -r line; do
        [[ $line != 'Without effect'* ]] || offered=
        [[ $line =~ ^\ \ ([-/][^ ]+(, [-/][^ ]+)*)( <[a-z]+>)? ]] || continue
        for name in ${BASH_REMATCH[1]//,/}; do
            [[ ! $offered || $name != -* ]] || options+=" $name"
            [[ ${previous,,} != "$name" ]] || value=${BASH_REMATCH[3]# }
        done
    done < <("${COMP_WORDS[0]}" --help-all 2>/dev/null)
    case ${previous,,}$value in
    *'<folder>')
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    *'<file>' | -filter_path*)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -dateformat*) words='yyyy-mm-dd mm/dd/yyyy dd/mm/yyyy dd-mmm-yyyy' ;;
    -timeformat*) words='hh:mm:ss hh:mm:ss.xxx hh:mm:ss.xxxxxx hh:mm:ss.xxxxxxxxx' ;;
    -csv_separator*) words='tab' ;;
    -event'<words>' | -not_event'<words>') words='created deleted renamed moved resized written read times_set times_copied attributes_set owner_set recycled restored mounted mft_differs' ;;
    -cluster_size*) words='auto 512 1024 2048 4096 8192 65536 2097152' ;;
    -partition*) words='1 2 3 4 5' ;;
    -num_subdirs*) words='0 1 2 3 5 10' ;;
    *'>') ;; # a value that only the user knows
    *)
        words=$options
        if [[ $current && $current != -* ]]; then # a file or a folder that no option names
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
        fi
        ;;
    esac
    # For readline the word at the cursor begins after the last ":".
    [[ $COMP_WORDBREAKS != *:* || $current != *:* ]] || words=
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _kest kest

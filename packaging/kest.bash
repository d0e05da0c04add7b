# bash completion for kest

_kest() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local options='--help --help-all --version -base10 -base16 -cluster_size -cmd_start_time -cmd_stop_time -columns -coverage -csv
        -csv_separator -csvgen -cut -dateformat -diags -enumdir -events -filter -filter_path -filter_sig -h -help -jrnlfile
        -jsonl -l2 -l3 -log -mftfile -multiline -no_guesses -no_whitespace -num_subdirs -out -outfile -pipe -profile -provenance -quiet
        -showall_inodes -stats -strict -timeformat -undo'
    local words=
    case ${previous,,} in
    -log | -mftfile | -jrnlfile | -out | -outfile | -diags | -filter_path)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -enumdir)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    -dateformat) words='yyyy-mm-dd mm/dd/yyyy dd/mm/yyyy dd-mmm-yyyy' ;;
    -timeformat) words='hh:mm:ss hh:mm:ss.xxx hh:mm:ss.xxxxxx hh:mm:ss.xxxxxxxxx' ;;
    -csv_separator) words='tab' ;;
    -cluster_size) words='auto 512 1024 2048 4096 8192 65536 2097152' ;;
    -num_subdirs) words='0 1 2 3 5 10' ;;
    -columns | -filter | -filter_sig | -cmd_start_time | -cmd_stop_time) ;; # values that only the user knows
    -alias | -aliaspath | -cpu | -cpuinst | -fragment_files | -hostname | -offset | -outdir | -signal | -sqlite | -sqlite_log | \
        -threads | -username | -zlibex) ;; # do nothing, but have values
    *) words=$options ;;
    esac
    # The word at the cursor begins behind the last ":" for readline.
    [[ $COMP_WORDBREAKS != *:* || $current != *:* ]] || words=
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _kest kest

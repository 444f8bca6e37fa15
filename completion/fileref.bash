# bash completion for fileref(1). The command itself knows its words: `fileref __complete`.

_fileref() {
  local cur prev words cword
  _init_completion -n '=:@' || return
  local line prefix
  local -a answers
  mapfile -t answers < <("${words[0]}" __complete "${words[@]:1:cword}" 2>/dev/null)
  COMPREPLY=()
  for line in "${answers[@]}"; do
    prefix=${line#* }
    case $line in
      =*)
        line=${line#=}
        COMPREPLY+=("${line%%$'\t'*}")
        ;;
      '@files '*)
        compopt -o filenames
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(
          compgen -f -- "${cur#"$prefix"}" | while IFS= read -r line; do
            [[ ! -d $line ]] || line+=/
            printf '%s\n' "$prefix$line"
          done)
        ;;
      '@hosts '*)
        local -a hosts=("${COMPREPLY[@]}")
        COMPREPLY=()
        _known_hosts_real -a -p "$prefix" -- "${cur#"$prefix"}"
        [[ $prefix != sftp://* ]] || COMPREPLY=("${COMPREPLY[@]/%//}")
        COMPREPLY+=("${hosts[@]}")
        ;;
    esac
  done
  [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *[=:/] ]] || compopt -o nospace
  # The shell takes what stands behind the last of these for the word.
  prefix=${cur%"${cur##*["${COMP_WORDBREAKS//[^=:@]/}"]}"}
  COMPREPLY=("${COMPREPLY[@]#"$prefix"}")
} &&
complete -F _fileref fileref

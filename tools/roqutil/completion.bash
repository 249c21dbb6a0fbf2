# Completes roqutil's words in bash. What may come next is asked of the command itself.
_roqutil() {
  local line=${COMP_LINE:0:COMP_POINT} words last candidate
  COMPREPLY=()
  read -ra words <<<"$line"
  [[ $line != *[[:blank:]] ]] || words+=("")
  # bash takes 2:1 and --wait=5 for several words and replaces the last of them, $2, alone.
  last=${words[-1]}
  while read -r candidate; do
    case $candidate in
      FILE) compopt -o default ;;
      DIRECTORY) compopt -o dirnames ;;
      COMMAND) mapfile -t COMPREPLY < <(compgen -c -- "$2") ;;
      *) COMPREPLY+=("${candidate#"${last%"$2"}"}") ;;
    esac
  done < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
}
complete -F _roqutil roqutil

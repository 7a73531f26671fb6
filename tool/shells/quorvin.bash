# What bash completes behind quorvin: the program itself says what fits.

# A word without its quotes; nothing in it is run.
_quorvin_plain() {
  local word=$1
  case $word in
    \'*) word=${word#\'} word=${word%\'} ;;
    \"*) word=${word#\"} word=${word%\"} ;;
    *) word=${word//\\/} ;;
  esac
  printf '%s' "$word"
}

_quorvin() {
  local cur words cword
  _get_comp_words_by_ref -n =: cur words cword
  local -a typed=()
  local word
  for word in "${words[@]:1:cword}"; do typed+=("$(_quorvin_plain "$word")"); done

  local -a answer
  mapfile -t answer < <("${words[0]}" __complete "${typed[@]}" 2>/dev/null)
  COMPREPLY=()
  case ${answer[0]-} in
    files) compopt -o default ;;
    folders) compopt -o dirnames ;;
  esac

  local line
  for line in "${answer[@]:1}"; do
    line=${line%%$'\t'*}
    # What stands before an equals sign stays as it is.
    if [[ $cur == --*=* ]]; then line=${line#*=}; fi
    if [[ $cur != [\'\"]* && $cur != --*=[\'\"]* ]]; then printf -v line %q "$line"; fi
    COMPREPLY+=("$line")
  done
  __ltrim_colon_completions "$cur"
} && complete -F _quorvin quorvin

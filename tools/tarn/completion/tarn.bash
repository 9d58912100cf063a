# Completion of tarn for bash: asks the program, which knows its command line.
# shellcheck shell=bash
_tarn() {
  local cur prev words cword split line
  _init_completion -s || return
  local option=
  [ "$split" = false ] || option=$prev=
  while IFS= read -r line; do
    if [ "$line" = files ]; then
      _filedir
    elif [[ ${line%%$'\t'*} == "$option$cur"* ]]; then
      line=${line%%$'\t'*}
      COMPREPLY+=("${line#"$option"}")
    fi
  done < <("$1" complete -- "${words[@]:1:cword}" 2>/dev/null)
} && complete -F _tarn tarn

# shellcheck shell=bash
# Completes the options of wcsp and of its tools, and file names as their arguments.

_wcsp() {
  local word=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    -inputfile | -initsolfile | -logfile)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
    -display | -interval | -iteration | -noimprovement | -seed | -target | \
      -time) ;; # a number
    *)
      mapfile -t COMPREPLY < <(compgen -W '-noadjust -display -iteration
        -initsolfile -inputfile -interval -logfile -noimprovement -seed -target
        -time' -- "$word")
      ;;
  esac
}

_wcsp_check() {
  local word=${COMP_WORDS[COMP_CWORD]}
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--before --by --columns --conflict --help --improve
      --json --names --no-warn --quiet --rows --split --start --strict --version' \
      -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

_wcsp_tool() {
  local word=${COMP_WORDS[COMP_CWORD]} options
  case ${COMP_WORDS[0]##*/} in
    wcsp-show) options='--by-name --by-value --check --columns --compare --csv
      --help --json --long --names --output --rows --safe --split --title --transpose
      --version --wrong' ;;
    wcsp-many) options='--array-limit --bound --check --compress --dir --each --from-best
      --help --hosts --jobs --no-logs --partition --polish --restart --results
      --retries --seeds --slurm --status --stop --submit --target --time --version --wcsp' ;;
    wcsp-plot) options='--csv --follow --group --help --iterations --output
      --safe --target --title --version' ;;
    wcsp-convert) options='--back --help --output --to --version' ;;
    wcsp-polish) options='--bound --columns --engine --help --jobs --output --rows --seed --split
      --steps --time --version' ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

complete -F _wcsp wcsp
complete -F _wcsp_tool wcsp-convert wcsp-many wcsp-show wcsp-plot wcsp-polish
complete -F _wcsp_check wcsp-check

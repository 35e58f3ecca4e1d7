# SPDX-License-Identifier: GPL-3.0-or-later
# shellcheck shell=bash
# Completion of qvx, qvx-mpi, quorivex and quorivex-mpi in bash, with or without the package
# bash-completion. Subcommands, options and choices come from the help of the program itself, which
# takes some 20 ms, so that they are always those of the program that will run.

# The subcommands that the help on standard input lists.
_qvx_subcommands() { sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p'; }

# The options that it lists.
_qvx_options() { sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]\{1,\}\).*/\2/p'; }

# _qvx_value HELP OPTION: what stands behind the option, FILE or {a,b}; nothing for a flag.
_qvx_value() {
  sed -n "s/^  $2 \([^ :]\{1,\}\)\( .*\)\{0,1\}\$/\1/p" <<<"$1" | sed 's/=.*//'
}

# _qvx_endings VALUE OPTION: the usual endings of such files.
_qvx_endings() {
  case $1 in
    *.inp) echo inp && return ;;
    *.html) echo html && return ;;
  esac
  case $2 in
    --data) echo mag obs dat ;;
    --matrix | '') echo mtx ;;
    --mesh) echo txt msh ;;
    --model | --initial | --reference | --lower | --upper | --show) echo sus txt ;;
    --table) echo csv xyz txt dat ;;
    --topography) echo tif tiff asc nc grd ers txt xyz csv ;;
    --active | --recipe | --weights) echo txt ;;
    --vtr) echo vtr ;;
    --netcdf) echo nc ;;
    --csv | --data-csv) echo csv ;;
    --points) echo vtp ;;
  esac
}

# _qvx_files WORD ENDING...: files with these endings and folders, or all files where there is none.
_qvx_files() {
  local word=$1 ending
  shift
  compopt -o filenames 2>/dev/null
  COMPREPLY=()
  for ending; do
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -X "!*.$ending" -- "$word")
  done
  if [ ${#COMPREPLY[@]} -gt 0 ]; then
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

# Neither files nor anything else.
_qvx_nothing() {
  compopt +o default +o bashdefault 2>/dev/null
  COMPREPLY=()
}

# _qvx_values WORD VALUE OPTION: completes what stands behind an option, or an argument.
_qvx_values() {
  # shellcheck disable=SC2046  # several endings
  case $2 in
    \{*\}) mapfile -t COMPREPLY < <(compgen -W "$(tr '{},' '   ' <<<"$2")" -- "$1") ;;
    FOLDER) compopt -o filenames 2>/dev/null && mapfile -t COMPREPLY < <(compgen -d -- "$1") ;;
    FILE* | *.inp | MODEL) _qvx_files "$1" $(_qvx_endings "$2" "$3") ;;
    *) _qvx_nothing ;;
  esac
}

_qvx() {
  local program=${COMP_WORDS[0]/#\~/$HOME} word=${COMP_WORDS[COMP_CWORD]} option="" help value
  local command=${COMP_WORDS[1]}
  COMPREPLY=()
  # --data=survey.mag comes as three words.
  if [ "$word" = = ]; then
    word="" option=${COMP_WORDS[COMP_CWORD - 1]}
  elif [ "${COMP_WORDS[COMP_CWORD - 1]}" = = ]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  elif [[ ${COMP_WORDS[COMP_CWORD - 1]} == --* ]]; then
    option=${COMP_WORDS[COMP_CWORD - 1]}
  fi
  # Asked without MPI, which takes long to start.
  if [ "$COMP_CWORD" -eq 1 ] || [[ $command == help || $command == -* ]]; then
    help=$("${program%-mpi}" --help 2>/dev/null) || return
    value=$(_qvx_subcommands <<<"$help")
    [[ $program == *-mpi ]] && value="sensitivity forward"
    [ "$COMP_CWORD" -eq 1 ] && value+=" help $(_qvx_options <<<"$help")"
    mapfile -t COMPREPLY < <(compgen -W "$value" -- "$word")
    return
  fi
  help=$("${program%-mpi}" "$command" --help 2>/dev/null) || return
  value=""
  [[ $option == --* ]] && value=$(_qvx_value "$help" "$option")
  if [ -n "$value" ]; then
    _qvx_values "$word" "$value" "$option"
    return
  fi
  value=$(sed -n '/^Positionals:/{n;s/^  \([^ ]*\).*/\1/p;}' <<<"$help")
  if [[ -n $value && $word != -* ]]; then
    _qvx_values "$word" "$value" ""
  else
    mapfile -t COMPREPLY < <(compgen -W "$(_qvx_options <<<"$help")" -- "$word")
  fi
}

# An input file, then the number of threads.
_quorivex() {
  local word=${COMP_WORDS[COMP_CWORD]}
  if [ "$COMP_CWORD" -gt 1 ]; then
    _qvx_nothing
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W -inp -- "$word")
  else
    _qvx_files "$word" inp
  fi
}

# Where these find nothing, bash completes names of files, with quotes and ~ in them.
complete -o bashdefault -o default -F _qvx qvx qvx-mpi
complete -o bashdefault -o default -F _quorivex quorivex quorivex-mpi


# What is above is made by the build from the tool's own declarations: _ztb_command and _ztb_words.
# What is below looks into it. It needs bash 4 and nothing else.

# The values of a kind $1 of argument; nothing for one that only the user knows.
_ztb_values() {
  local words=() home
  case $1 in
    LOCALE)
      home=$(type -P "${COMP_WORDS[0]}") || :
      home=${home%/*}/..
      [ -d "$home/share/ztbcpp31/home" ] && home=$home/share/ztbcpp31/home || home=$home/home
      home=${ZTEXEC_HOME:-$home}
      [ ! -d "$home/share/msg" ] || mapfile -t words < <(command ls "$home/share/msg") ;;
    *'|'*) IFS='|' read -ra words <<<"$1" ;;
    *) _ztb_words "$1" ;;
  esac
  [ ${#words[@]} = 0 ] || printf '%s\n' "${words[@]}"
}

# Takes the lines of standard input that begin with $1, in any case, as answers.
_ztb_keep() {
  local line
  while IFS= read -r line; do
    [[ ${line,,} != "${1,,}"* ]] || COMPREPLY+=("$line")
  done
}

# Answers with the values of a kind $1 that begin with $2. What may need quotes goes as file names.
_ztb_complete_kind() {
  case $1 in
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    DIR) mapfile -t COMPREPLY < <(compgen -d -- "$2") ;;
    CMD) mapfile -t COMPREPLY < <(compgen -c -- "$2") ;;
    *) _ztb_keep "$2" < <(_ztb_values "$1") ;;
  esac
  case $1 in FILE | DIR | GROUP) compopt -o filenames 2>/dev/null ;; esac
}

# Sets `path` to the subcommand that is called, with its words, `place` to the number of arguments in
# front of the current word, `kind` to what the option in front of it takes, and `literal` behind a
# "--". bash parts --option=value into three words.
_ztb_read() {
  local word i
  _ztb_command ''
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [ "$word" = = ]; then
      continue
    elif [ -n "$kind" ]; then
      kind=''
    elif [ -n "$literal" ]; then
      place=$((place + 1))
    elif [ "$word" = -- ]; then
      literal=yes
    elif [[ $word == -* ]]; then
      for kind in "${takes[@]}" ''; do [ "${kind%%=*}" != "$word" ] || break; done
      kind=${kind#*=}
    elif [[ " ${subs[*]} " == *" $word "* ]]; then
      path="${path:+$path }$word" place=0
      _ztb_command "$path"
    else
      place=$((place + 1))
    fi
  done
}

_ztb() {
  local subs=() arguments=() options=() takes=() path='' kind='' place=0 literal=''
  local current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  _ztb_read
  [ "$current" != = ] || current=''
  if [ -n "$kind" ]; then
    _ztb_complete_kind "$kind" "$current"
    return
  fi
  if [[ -z $literal && $current == -* ]]; then
    _ztb_keep "$current" < <(printf '%s\n' "${options[@]}")
    return
  fi
  # Subcommands come first, or behind the arguments of their command.
  if [ ${#subs[@]} != 0 ] && { [ "$place" -ge ${#arguments[@]} ] ||
    [[ $place = 0 && ${arguments[0]} == *... ]]; }; then
    _ztb_keep "$current" < <(printf '%s\n' "${subs[@]}")
    return
  fi
  [ ${#arguments[@]} != 0 ] || return 0
  kind=${arguments[place]:-${arguments[-1]}}
  [[ $place -lt ${#arguments[@]} || $kind == *... ]] || return 0
  kind=${kind%...}
  # A program's arguments are files, as far as anybody can tell.
  if [ "$kind" = CMD ] && [ "$place" -gt 0 ]; then kind=FILE; fi
  _ztb_complete_kind "$kind" "$current"
}

complete -F _ztb ztb

# bash completion for picture-host: options, commands, the plug-in's method and
# class names (asked of picture-host itself), and files.
_picture_host() {
  local cur prev
  cur="${COMP_WORDS[COMP_CWORD]}"
  prev="${COMP_WORDS[COMP_CWORD-1]}"
  case "$prev" in
    -o|--output|--save-string|--plugin) COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --out-dir|--save-blocks) COMPREPLY=($(compgen -d -- "$cur")); return ;;
    --kind) COMPREPLY=($(compgen -W "desktop console web" -- "$cur")); return ;;
    --encoding) COMPREPLY=($(compgen -W "int16 uint8 float32 float64" -- "$cur")); return ;;
    --layout) COMPREPLY=($(compgen -W "1 2 3 4 5 6" -- "$cur")); return ;;
    -j|--jobs|--quality|--png-compression|--max-pixels|--host-version) return ;;
    describe)
      COMPREPLY=($(compgen -W "$("${COMP_WORDS[0]}" --list-names 2>/dev/null)" -- "$cur")); return ;;
  esac
  if [[ "$cur" == -* ]]; then
    COMPREPLY=($(compgen -W "-o --output --out-dir -j --jobs --flatten --quality --png-compression
      --max-pixels --chart --no-input --save-string --save-blocks --encoding --plugin --host-version
      --kind --layout -h --help --version" -- "$cur"))
    return
  fi
  local names
  names="$("${COMP_WORDS[0]}" --list-names 2>/dev/null)"
  if [[ $COMP_CWORD -eq 1 ]]; then names="$names list describe gallery render"; fi
  COMPREPLY=($(compgen -W "$names" -- "$cur") $(compgen -f -- "$cur"))
}
complete -o filenames -F _picture_host picture-host

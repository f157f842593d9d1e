# What bash completes after `orv`. The test tool.reference compares the commands and options with the program's own help.

# Sets `words` to the values of an option, or fails where it takes none of a list.
_orv_values() {
  case $1 in
    --path) words='w7 v8 s8 p8 g9_avx g9' ;;
    --method) words='nearest linear cubic bspline catmull b05c03 lanczos super' ;;
    --sampling) words='444 422 420 grey' ;;
    --from) words='i420 nv12 i420-jfif nv12-jfif yuv420 yuv422 yuyv ycbcr ycbcrp' ;;
    --to)
      words='jpeg ppm'
      [ "${COMP_WORDS[1]}" != convert ] ||
        words+=' i420 nv12 i420-jfif nv12-jfif yuv420 yuv422 yuyv ycbcr ycbcrp rgb565 rgb555 rgb444 bgr565 bgr555 bgr444'
      ;;
    --order) words='bgr ggg' ;;
    --box | --crop | --fill | --fit | --jobs | --max-pixels | --psnr | --quality | --repeat | --restart | --size) words= ;;
    *) return 1 ;;
  esac
}

# Sets `words` to the options of a command.
_orv_options() {
  local reads='--as-stored --strict --path' writes='--quality --sampling' keeps=--strip names=--to
  case $1 in
    info) words= ;;
    decode) words="$reads --fused --max-pixels --time --repeat" ;;
    encode) words="$reads $writes $keeps --optimize --restart --time --repeat" ;;
    compare) words="$reads --psnr" ;;
    convert) words="$reads $writes --to --from --size" ;;
    filter) words="$reads $writes $keeps $names --box" ;;
    swap) words="$reads $writes $keeps $names --order" ;;
    resize) words="$reads $writes $keeps $names --fit --fill --crop --only-shrink --method --no-antialias --antialias --time --repeat" ;;
    sheet) words="$reads $writes $keeps $names" ;;
    thumb) words="$reads $writes $keeps --size --jobs --skip-existing" ;;
    verify) words='--path --quick --primitives --table' ;;
  esac
  words+=' --help'
}

_orv() {
  local current=${COMP_WORDS[COMP_CWORD]} words
  if [ "$COMP_CWORD" = 1 ]; then
    words='info decode encode compare convert filter swap resize sheet thumb verify --help --version'
  elif _orv_values "${COMP_WORDS[COMP_CWORD - 1]}"; then
    compopt +o default 2>/dev/null  # no file
  else
    [[ $current == -* ]] || return 0  # a file
    _orv_options "${COMP_WORDS[1]}"
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -o default -F _orv orv

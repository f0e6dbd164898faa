#compdef vesk-emulate
# Completion of vesk-emulate for zsh.

_vesk_emulate_forms() {
  local -a forms
  forms=(${=$($words[1] -i '?' 2>&1 | sed -n 's/.*choose one of \([^;]*\);.*/\1/p' | tr -d ,)})
  _describe 'form' forms
}

# Behind "--" stands the command.
if (( ${+words} && ${words[(i)--]} < CURRENT )); then
  (( CURRENT -= ${words[(i)--]} ))
  shift ${words[(i)--]} words
  _normal
  return
fi

_arguments -s \
  '(-i --input)'{-i+,--input=}'[form of the captures]:form:_vesk_emulate_forms' \
  '--device=[only this device of a USB capture]:BUS\:DEV: ' \
  '--node=[the first device'\''s node]:node: ' \
  '--name=[its name]:text: ' \
  '--serial=[its serial number]:text: ' \
  '--ids=[its vendor and product, in hexadecimal]:VID\:PID: ' \
  '--uhid[make real devices by /dev/uhid]' \
  '(--as-fast-as-possible)--rate=[input reports a second]:number: ' \
  '(--rate)--as-fast-as-possible[input reports as fast as they are read]' \
  '--loop[again and again]' \
  '*--fault=[what asking for a feature report comes to]:fault:((
    stall=\:"it fails"
    short=\:"half of its bytes"
    long=\:"eight bytes more"
    empty=\:"no bytes"
    other-id=\:"another report ID"
    late=\:"it takes time"
    gone=\:"the device is unplugged meanwhile"))' \
  '--unplug-after=[unplug it after so many input reports]:number: ' \
  '--return-after=[plug it in again after the time]:seconds: ' \
  '--appear-after=[plug it in after the time]:seconds: ' \
  '--refuse[let nobody open it]' \
  '--stats[end with counts]' \
  '(- *)--version[show the version]' \
  '(- *)'{-h,--help}'[show the help]' \
  '*:capture:_files'

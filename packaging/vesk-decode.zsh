#compdef vesk-decode
# Completion of vesk-decode for zsh.

_vesk_decode_reports() {
  local -a ids
  ids=(${(f)"$($words[1] --list-reports 2>/dev/null |
    awk 'NR > 1 { for (i = 3; i <= NF; ++i) if ($i ~ /^parse/) print $2 ":" $i }')"})
  _describe 'report ID' ids
}

_arguments -s -S \
  '(-i --input)'{-i+,--input=}'[form of the input]:form:((
    hex\:"lines of hex digits"
    dump\:"a dump by xxd, hexdump -C or od -A x -t x1"
    xxd-p\:"a dump by xxd -p"
    binary\:"binary reports"
    recording\:"a recording of hid-recorder"
    usb\:"a USB capture, pcap or pcapng"
    usbhid-dump\:"a stream by usbhid-dump"
    usbmon\:"the text that usbmon prints"
    packets\:"USB packets in rows, as by tshark -x"
    array\:"arrays in a program"
    csv\:"a table with a column of bytes"
    log\:"digits among the lines of a log"))' \
  '--device=[only this device of a USB capture]:BUS\:DEV: ' \
  '--endpoint=[only this endpoint of it]:number: ' \
  '(-o --output)'{-o+,--output=}'[form of the output]:form:((
    text\:"lines for people"
    ndjson\:"a JSON record a line"
    json\:"the same records in one array"
    csv\:"a table of the reports of one decoder"
    changes\:"what differs from the report before"
    explain\:"which byte of each report says what"
    recording\:"a recording, undecoded"
    html\:"a page for a browser that shows the reports inside"
    screen\:"the latest frame as a picture on the terminal"
    tap\:"with --limits, each test as TAP has it"
    results\:"with --limits, a table of the tests"
    junit\:"with --limits, the tests for CI servers"))' \
  '(--decimal -decimal)'{--decimal,-decimal}'[samples in decimal, in text]' \
  '--headers[in text, a line before each report on its origin]' \
  '--lines[in JSON, add the text lines]' \
  '--elements[of an array, show each element by itself]' \
  '--stats[end with counts of reports, errors and lost frames]' \
  '--host-writes[in text and JSON, show what the host sends, too]' \
  '--limits=[tell of each file whether it keeps these limits]:file:_files' \
  '--jobs=[threads that decode text and NDJSON]:number: ' \
  '--changes[in JSON, what changed instead of the reports]' \
  '--baseline=[changes since the last reports in this capture]:file:_files' \
  '--across=[changes from the report of the first ID to the others]:ID:_vesk_decode_reports' \
  '--viewer=[put the reports into this page]:file:_files' \
  '--color=[colours]:when:(auto always never)' \
  '*--report=[only reports with these IDs]:ID:_vesk_decode_reports' \
  '--type=[only reports of this type]:type:(input output feature)' \
  '--from=[only reports from this time on]:time: ' \
  '--to=[only reports up to this time]:time: ' \
  '--count=[end behind so many reports]:number: ' \
  '(-)--list-devices[show the HID devices of this machine]' \
  '--follow[go on with input reports as they come]' \
  '--every=[ask for feature reports again, so often]:time: ' \
  '--duration=[end after this time]:time: ' \
  '--wait[wait for a device, and for its return]' \
  '--plugin=[load this plug-in]:file:_files' \
  '(-)--list-reports[show the known reports]' \
  '--layout[show which byte of a report says what]' \
  '(-v --verbose)'{-v,--verbose}'[tell which plug-in and input forms are used]' \
  '(-)--version[show the versions]' \
  '(- *)'{-h,--help}'[show the help]' \
  '*:file:_files'

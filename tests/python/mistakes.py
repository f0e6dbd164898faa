"""Calls that a checker of types must refuse; each line ends with what it says."""

import vesk_report

vesk_report.read(5)  # arg-type
vesk_report.read("a", form=5)  # arg-type
vesk_report.read("a", "usb")  # misc
vesk_report.read("a", rows=5)  # call-arg
vesk_report.batches("a", rows="5")  # arg-type
vesk_report.reports("a", columns={})  # call-arg
vesk_report.Plugin().decode("de 01")  # arg-type
vesk_report.read("a").errors[0].codes  # attr-defined
len(vesk_report.Plugin())  # arg-type

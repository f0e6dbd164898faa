"""The steps of HACKING.md, "How to add a report", and what is said of a report that lacks one."""

STEPS = {
    "case": (5, "has no case in tests/cases"),
    "reference": (6, "has no decoder in tests/reference/vesk_reference.py"),
    "bench": (7, "has no reference in bench/references"),
    "sample": (8, "has no sample in samples/tour.hex"),
    "readme": (9, "has no row in README.md"),
    "page": (9, "has no section in docs/reports.md"),
}


def lacks(report_id, what):
    step, complaint = STEPS[what]
    return "report 0x%02X %s: see HACKING.md, step %d" % (report_id, complaint, step)

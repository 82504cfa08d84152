"""Checks the check: faults planted in good files must be seen, each as what it is."""

from harness import Tally

LINES = 200


def flip_a_byte(lines):
    lines[50] = lines[50].replace(b"|\n", b"!\n")
    return {"damaged": 1}


def lose_a_line(lines):
    del lines[50]
    return {"missing": 1}


def double_a_line(lines):
    lines.insert(51, lines[50])
    return {"duplicates": 1}


def swap_two_lines(lines):
    lines[50], lines[51] = lines[51], lines[50]
    return {"disorder": 1}


def cut_the_tail(lines):
    lines[-1] = lines[-1][:-30]
    return {"cutTails": 1}


def cut_in_the_middle(lines):
    lines[50] = lines[50][:-20]
    return {"cutInside": 1, "missing": 1}


def mix_two_lines(lines):
    first, second = lines[50], lines[51]
    lines[50:52] = [first[:100] + second[:90] + first[100:], second[90:]]
    return {"damaged": 2, "missing": 2}


def add_foreign_text(lines):
    lines.insert(50, b"stray\n")
    return {"damaged": 1}


def add_a_line_of_another_writer(lines):
    lines.insert(50, lines[49].replace(b"rec 0.0.", b"rec 7.0."))
    return {"damaged": 1}  # the text does not follow from these numbers


def fill_with_zeros(lines):
    lines[50] = b"\0" * len(lines[50])
    return {"damaged": 1, "missing": 2}  # it takes the next one along, without its newline


PLANTS = (flip_a_byte, lose_a_line, double_a_line, swap_two_lines, cut_the_tail, cut_in_the_middle,
          mix_two_lines, add_foreign_text, add_a_line_of_another_writer, fill_with_zeros)


def see(stage, plant):
    where = stage.fresh_dir()
    run = stage.run([stage.program("accounting_driver"), where / "log", "1", str(LINES)])
    if run.ended_badly():
        return run.ended_badly()
    path = where / "log/app.log"
    lines = [line for line in path.read_bytes().splitlines(keepends=True) if b"] [Emit]: " in line]
    expected = {"damaged": 0, "duplicates": 0, "disorder": 0, "cutTails": 0, "cutInside": 0}
    expected |= plant(lines) if plant else {}
    path.write_bytes(b"".join(lines))
    account = stage.check("accounting_driver", path)
    account["missing"] = account["streams"]["0.0"]["missing"]
    stage.remove(where)
    for name, count in expected.items():
        if account[name] != count:
            return f"{plant.__name__ if plant else 'nothing'} planted: {name} is {account[name]}, not {count}"
    return None


def rows(stage):
    tally = Tally("faults planted in good files", "-")
    for problem in stage.each(lambda plant: see(stage, plant), [None, *PLANTS]):
        tally.add(problem)
    tally.seen = "-"
    yield tally.row("all seen, none where none is")

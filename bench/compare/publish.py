"""Puts the tables and plots of a comparison into docs/PERFORMANCE.md."""
import pathlib
import shutil

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
BEGIN, END = "<!-- results: begin -->\n", "<!-- results: end -->\n"


def publish(text, results):
    """Replaces what stands between the marks; copies the plots that the text shows."""
    page = DOCS / "PERFORMANCE.md"
    before, _, rest = page.read_text().partition(BEGIN)
    _, mark, after = rest.partition(END)
    if not mark:
        raise SystemExit(f"bench: {page} lacks the marks {BEGIN.strip()} and {END.strip()}")
    page.write_text(before + BEGIN + "\n" + text + "\n" + END + after)
    (DOCS / "performance").mkdir(exist_ok=True)
    for plot in results.glob("*.svg"):
        shutil.copy(plot, DOCS / "performance")

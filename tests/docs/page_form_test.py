"""The pages are sound mdoc for mandoc and for groff."""

import subprocess

import pytest

from qv.page import PAGES, path_of, plain, render


@pytest.mark.parametrize("page", PAGES)
def test_mandoc_finds_nothing_to_warn_of(page):
    done = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", path_of(page)], capture_output=True, text=True, check=False)
    assert (done.stdout, done.returncode) == ("", 0)


@pytest.mark.parametrize("page", PAGES)
def test_groff_finds_nothing_to_warn_of(page):
    words = ["groff", "-k", "-mdoc", "-Tutf8", "-wall", "-Z", path_of(page)]
    done = subprocess.run(words, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
    assert (done.stderr, done.returncode) == ("", 0)


@pytest.mark.parametrize("page", PAGES)
def test_both_formatters_show_the_same_words(page):
    done = subprocess.run(["groff", "-k", "-mdoc", "-Tutf8", "-P-cbou", path_of(page)], capture_output=True, text=True, check=True)

    def words(text):
        return [word for word in "".join(c if c.isalnum() else " " for c in text).split() if word.isascii()]

    ours = words(plain(render(page)))
    # The header lines differ, and groff hyphenates.
    joined = "".join(words(done.stdout))
    assert [word for word in ours[6:] if word not in joined] == []


@pytest.mark.parametrize("page", PAGES)
def test_a_page_leads_to_the_others_and_nothing_is_left_to_replace(page):
    text = plain(render(page))
    assert "@" not in text
    own = {name.replace(".", "(") + ")" for name in PAGES}
    assert any(name in text.split("SEE ALSO")[1] for name in own)

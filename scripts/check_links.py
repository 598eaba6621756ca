#!/usr/bin/env python3
"""Checks links inside HTML and Markdown files: the file that each names exists, and so does the part of it.

    check_links.py FILE_OR_FOLDER...

Links to other computers are not followed. Ends with status 1 if a link leads nowhere.
"""
import re
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    """The links of an HTML page, and the parts that links can name."""

    def __init__(self, text):
        super().__init__()
        self.links, self.parts = [], set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src", "data") and value:
                self.links.append(value)
            if name == "id" or (name == "name" and tag == "a"):
                self.parts.add(value)


class Markdown:
    """The same of a Markdown file. Headings name parts as GitHub names them."""

    def __init__(self, text):
        text = re.sub(r"```.*?```|`[^`\n]*`", "", text, flags=re.S)
        self.links = re.findall(r"\]\(([^)\s]+)[^)]*\)", text)
        headings = re.findall(r"^#+ +(.*?)(?: *\{#.*)?$", text, flags=re.M)
        self.parts = {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def read(path, pages={}):
    if path not in pages:
        kind = Page if path.suffix == ".html" else Markdown
        pages[path] = kind(path.read_text(encoding="utf-8", errors="replace"))
    return pages[path]


def problem(source, link):
    target = urlsplit(link)
    if target.scheme or target.netloc or link.startswith("javascript:"):
        return None
    path = (source.parent / unquote(target.path)).resolve() if target.path else source
    if not path.exists():
        return "no such file"
    part = unquote(target.fragment)
    if part and path.suffix in (".html", ".md") and part not in read(path).parts:
        return "no such part"
    return None


def files(names):
    for name in map(Path, names):
        if name.is_dir():
            # The guides are sources of the HTML pages, where the pictures have other places.
            yield from (file.resolve() for file in sorted(name.rglob("*.*"))
                        if file.suffix in (".html", ".md") and "guides" not in file.parts)
        else:
            yield name.resolve()


def main():
    count, failures = 0, 0
    for file in files(sys.argv[1:]):
        for link in read(file).links:
            count += 1
            reason = problem(file, link)
            if reason:
                failures += 1
                print(f"{file}: {link}: {reason}", file=sys.stderr)
    print(f"check_links.py: {count} links, {failures} lead nowhere")
    return 1 if failures or not count else 0


if __name__ == "__main__":
    sys.exit(main())

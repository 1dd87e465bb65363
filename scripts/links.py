#!/usr/bin/env python3
"""Follows every relative link of Markdown files and of a site: file and place must be there.

usage: links.py MARKDOWN... SITE_DIR
"""
import pathlib
import re
import sys
from html.parser import HTMLParser
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    """An HTML page's links and places."""

    def __init__(self, path):
        super().__init__()
        self.links, self.places = [], set()
        self.feed(path.read_text(errors="replace"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("id", "name") and value:
                self.places.add(value)
            if (tag, name) in (("a", "href"), ("img", "src"), ("object", "data"),
                               ("script", "src"), ("link", "href")) and value:
                self.links.append(value)


class Markdown:
    """A Markdown file's links and places: headings, and anchors that it writes out."""

    def __init__(self, path):
        text = re.sub(r"^```.*?^```", "", path.read_text(), flags=re.M | re.S)
        self.links = re.findall(r"\]\(([^)\s]+)\)", text)
        headings = re.findall(r"^#+ +(.*)$", text, re.M)
        self.places = {re.sub(r"[^\w\- ]", "", h).lower().replace(" ", "-") for h in headings}
        self.places |= set(re.findall(r'<a id="([^"]+)"', text))


def broken(path, pages):
    for link in pages[path].links:
        url = urlsplit(link)
        if url.scheme or url.netloc:
            continue
        target = (path.parent / unquote(url.path)).resolve() if url.path else path
        if not target.exists():
            yield link
        elif url.fragment and target in pages and unquote(url.fragment) not in pages[target].places:
            yield link


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: links.py MARKDOWN... SITE_DIR")
    site = pathlib.Path(sys.argv[-1]).resolve()
    pages = {path: Page(path) for path in site.rglob("*.html")}
    pages |= {path: Markdown(path) for path in (pathlib.Path(p).resolve() for p in sys.argv[1:-1])}
    if not any(path.suffix == ".html" for path in pages):
        sys.exit(f"links.py: no pages in {site}")
    failed = 0
    for path in sorted(pages):
        for link in broken(path, pages):
            print(f"{path}: {link} leads nowhere", file=sys.stderr)
            failed = 1
    print(f"{sum(len(page.links) for page in pages.values())} links of {len(pages)} pages followed")
    sys.exit(failed)


main()

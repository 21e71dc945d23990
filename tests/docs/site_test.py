#!/usr/bin/python3
"""Opens every page of the manual in Chromium from files: site_test.py SITE

Checks, at phone and desktop width, light and dark: no console errors, no requests outside the site, no dead links or
images, nothing cut off or scrolling the page sideways. Tests the search. First, pages with planted faults show that
these are found.
"""
import dataclasses
import pathlib
import sys
import tempfile
import urllib.parse

from browser import Browser

SEARCHES = {'MultiCharacter': 'reference/nxtokenstring.html', '429': 'errors.html', '-2147467259': 'errors.html'}
PHONE, DESKTOP = (390, 844, True), (1280, 900, False)

# The layout of a page: widths, elements that extend beyond the window outside of scrolling boxes, the background's
# brightness, and how much of the second heading the header hides after following a link to it.
LAYOUT = '''(() => {
    const wide = document.scrollingElement.scrollWidth;
    const scrolls = element => { for (let e = element; e && e !== document.body; e = e.parentElement)
        if (/auto|scroll/.test(getComputedStyle(e).overflowX)) return true; return false; };
    const stickingOut = [...document.querySelectorAll('article *')].filter(element => {
        const box = element.getBoundingClientRect();
        return box.width > 0 && box.right > innerWidth + 1 && !scrolls(element.parentElement); });
    const colour = getComputedStyle(document.body).backgroundColor.match(/[\\d.]+/g).map(Number);
    const target = document.querySelector('section section'), header = document.querySelector('header.mobile-header');
    target?.scrollIntoView({behavior: 'instant'});
    const hidden = target && header ? header.getBoundingClientRect().bottom - target.getBoundingClientRect().top : 0;
    scrollTo({top: 0, behavior: 'instant'});
    return {wide, hidden, inner: innerWidth, brightness: (colour[0] + colour[1] + colour[2]) / 765,
            stickingOut: stickingOut.slice(0, 3).map(element => element.outerHTML.slice(0, 120))};
})()'''
CONTENT = '''({
    title: document.title,
    links: [...document.querySelectorAll('a[href]')].map(link => link.href),
    anchors: [...document.querySelectorAll('[id]')].map(element => element.id),
    dead_images: [...document.images].filter(image => !image.complete || image.naturalWidth === 0)
        .map(image => image.src)
})'''


@dataclasses.dataclass
class Content:
    title: str
    links: list[str]
    anchors: list[str]
    dead_images: list[str]


def inspect_page(browser: Browser, page: pathlib.Path, site: pathlib.Path) -> tuple[Content, list[str]]:
    """The content of a page, and its faults except dead links."""
    browser.emulate(*DESKTOP, 'light')
    browser.open(page.as_uri())
    content = Content(**browser.evaluate(CONTENT))
    faults = [f'the image {image} is not shown' for image in content.dead_images]
    if not content.title:
        faults.append('it has no title')
    for size in (DESKTOP, PHONE):
        for scheme in ('light', 'dark'):
            browser.emulate(*size, scheme)
            layout = browser.evaluate(LAYOUT)
            where = f'{size[0]} pixels wide, {scheme}'
            if max(layout['wide'], layout['inner']) > size[0]:
                faults.append(f'{where}: it is {layout["wide"]} pixels wide')
            faults += [f'{where}: this is cut off: {element}' for element in layout['stickingOut']]
            if layout['hidden'] > 1:
                faults.append(f'{where}: the header hides {layout["hidden"]:.0f} pixels of a heading')
            if (layout['brightness'] > 0.5) != (scheme == 'light'):
                faults.append(f'{where}: the background has the brightness {layout["brightness"]:.2f}')
    faults += [f'on the console: {complaint}' for complaint in browser.complaints]
    faults += [f'it asks for {request}' for request in browser.requests
               if not request.startswith((site.as_uri() + '/', 'data:'))]
    return content, faults


def broken_links(site: pathlib.Path, pages: dict[pathlib.Path, Content]) -> list[str]:
    faults = []
    for page, content in pages.items():
        for link in dict.fromkeys(content.links):
            parts = urllib.parse.urlsplit(link)
            if parts.scheme != 'file':
                continue
            target = pathlib.Path(urllib.parse.unquote(parts.path))
            anchor = urllib.parse.unquote(parts.fragment)
            if not target.is_relative_to(site) or not target.is_file():
                faults.append(f'{page.relative_to(site)}: {link} is a dead link')
            elif anchor and anchor not in pages[target].anchors:
                faults.append(f'{page.relative_to(site)}: {link} leads to a missing anchor')
    return faults


def inspect_site(browser: Browser, site: pathlib.Path) -> list[str]:
    faults: list[str] = []
    pages: dict[pathlib.Path, Content] = {}
    for page in sorted(site.rglob('*.html')):
        pages[page], found = inspect_page(browser, page, site)
        faults += [f'{page.relative_to(site)}: {fault}' for fault in found]
    return faults + broken_links(site, pages)


def search(browser: Browser, site: pathlib.Path, word: str, page: str) -> list[str]:
    """Searches for a word on the front page. `page` must be among the results."""
    browser.emulate(*DESKTOP, 'light')
    browser.open((site / 'index.html').as_uri())
    browser.evaluate('document.querySelector("input[name=q]").focus()')
    browser.type(word)
    browser.wait_for('location.pathname.endsWith("search.html") && /found|not match/.test('
                     'document.querySelector(".search-summary")?.innerText || "")')
    links = browser.evaluate('[...document.querySelectorAll("ul.search a")].map(link => link.href)')
    faults = [f'searching: {complaint}' for complaint in browser.complaints]
    if not any(urllib.parse.urlsplit(link).path == (site / page).as_uri().removeprefix('file://') for link in links):
        faults.append(f'the search for {word} does not find {page}, but {links}')
    return faults


def choose_theme(browser: Browser, site: pathlib.Path) -> list[str]:
    """Checks that the theme button makes a light page dark."""
    browser.emulate(*DESKTOP, 'light')
    browser.open((site / 'index.html').as_uri())
    for _ in range(3):
        browser.evaluate('document.querySelector("button.theme-toggle").click()')
        if browser.evaluate(LAYOUT)['brightness'] < 0.5:
            browser.evaluate('localStorage.clear()')
            return []
    return ['the theme button does not make the page dark']


# ------------------------------------------------------------------------------------------------- pages with faults

HEAD = ('<!doctype html><html><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">'
        '<link rel="icon" href="data:,"><style>body { background: white; margin: 0 } '
        '@media (prefers-color-scheme: dark) { body { background: #111 } }</style>')
PLANTED = {
    'fine': ('<p id="here"><a href="fine.html#here">x</a> <a href="http://localhost/">y</a></p>'
             '<div style="overflow-x: auto"><p style="width: 2000px">scrolls by itself</p></div>', ''),
    'link': ('<a href="missing.html">x</a>', 'missing.html is a dead link'),
    'anchor': ('<a href="fine.html#missing">x</a>', 'fine.html#missing leads to a missing anchor'),
    'outside': ('<a href="/etc/hostname">x</a>', 'is a dead link'),
    'image': ('<img src="missing.png">', 'missing.png is not shown'),
    'wide': ('<p style="width: 400px">x</p>', '390 pixels wide, dark: it is'),
    'cut': ('<div style="overflow: hidden"><p style="width: 2000px">x</p></div>', 'this is cut off: <p'),
    'header': ('<header class="mobile-header" style="position: sticky; top: 0; height: 50px"></header><section>'
               '<section style="height: 3000px">x</section></section>', 'the header hides 50 pixels'),
    'console': ('<script>console.error("oh")</script>', 'on the console: oh'),
    'exception': ('<script>nonsense()</script>', 'nonsense is not defined'),
    'request': ('<link rel="stylesheet" href="http://localhost/style.css">', 'it asks for http://localhost/'),
    'bright': ('<style>body { background: white !important }</style>', '390 pixels wide, dark: the background'),
}


def check_planted_faults(browser: Browser) -> list[str]:
    """Faults that the inspection misses in pages with planted faults, or reports in the page without."""
    with tempfile.TemporaryDirectory() as folder:
        site = pathlib.Path(folder).resolve()
        for name, (body, _) in PLANTED.items():
            (site / f'{name}.html').write_text(
                f'{HEAD}<title>{name}</title></head><body><article>{body}</article></body></html>', encoding='utf-8')
        found = inspect_site(browser, site)
    wrong = []
    for name, (_, fault) in PLANTED.items():
        of_page = [line for line in found if line.startswith(f'{name}.html: ')]
        if (fault and not any(fault in line for line in of_page)) or (not fault and of_page):
            wrong.append(f'the page with the planted fault "{name}" gave {of_page}')
    return wrong


def main() -> int:
    site = pathlib.Path(sys.argv[1]).resolve()
    with Browser() as browser:
        faults = check_planted_faults(browser)
        if not faults:
            faults = inspect_site(browser, site)
            for word, page in SEARCHES.items():
                faults += search(browser, site, word, page)
            faults += choose_theme(browser, site)
    print(*faults[:50], sep='\n')
    print(f'{len(list(site.rglob("*.html")))} pages, {len(faults)} faults')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main())

"""Sphinx configuration of the manual. stage.py prepares the pages."""
import os
import pathlib
import re
import sys

from docutils import nodes
from pygments.lexers.dotnet import VbNetLexer
from pygments.token import Error, Text

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from markdown_page import slug  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[3]

project = 'Nuvolex'
release = re.search(r'project\(nuvolex VERSION ([\d.]+)', (ROOT / 'CMakeLists.txt').read_text(encoding='utf-8'))[1]
language = 'en'
extensions = ['myst_parser', 'sphinx_copybutton']
templates_path = ['templates']

myst_heading_anchors = 6
myst_heading_slug_func = slug

html_theme = 'furo'
html_title = f'Nuvolex {release}'
html_static_path = ['static']
html_css_files = ['nuvolex.css']
html_favicon = os.environ['NUVOLEX_ICON']
html_theme_options = {
    'light_logo': 'logo.svg',
    'dark_logo': 'logo.svg',
    'light_css_variables': {'color-brand-primary': '#1b4f8f', 'color-brand-content': '#1b4f8f',
                            'color-highlight-on-target': '#e4edf9', 'warning-quote-colour': '#b03a0a'},
    'dark_css_variables': {'color-brand-primary': '#8ab8f0', 'color-brand-content': '#8ab8f0',
                           'color-highlight-on-target': '#1c2a3d', 'warning-quote-colour': '#ff9a6c'},
    'top_of_page_button': None,
}
html_use_index = False
html_copy_source = False
html_show_copyright = False
html_show_sphinx = False
# Summaries need to read the pages, which browsers forbid for local files.
html_show_search_summary = False
pygments_style = 'friendly'
pygments_dark_style = 'github-dark'
copybutton_selector = 'div.highlight pre'


UNUSED_SCRIPTS = ('_static/jquery.js', '_static/underscore.js', '_static/_sphinx_javascript_frameworks_compat.js')


class VbaLexer(VbNetLexer):
    """Visual Basic for Applications and declarations in object browser style: VB.NET with unknown tokens allowed."""
    name = 'VBA'

    def get_tokens_unprocessed(self, text, *arguments):
        for index, token, value in super().get_tokens_unprocessed(text, *arguments):
            yield index, Text if token is Error else token, value


def use_anchors(app, document):
    """Gives headings the anchors that code hosts use in links."""
    domain = app.env.get_domain('std')
    for section in document.findall(nodes.section):
        if label := section.get('myst-anchor'):
            anchor = label.rpartition('#')[2]
            section['ids'] = [anchor]
            domain.anonlabels[label] = app.env.docname, anchor
            domain.labels[label] = app.env.docname, anchor, domain.labels[label][2]


def mark_warnings(app, document):
    """Quotes that begin with "Warning" look different from other notes."""
    for quote in document.findall(nodes.block_quote):
        strong = next(quote.findall(nodes.strong), None)
        if strong is not None and strong.astext() == 'Warning':
            quote['classes'].append('warning-quote')


def leave_out_scripts(app, page, template, context, document):
    """Removes libraries that Sphinx adds for extensions we do not use."""
    context['script_files'] = [script for script in context['script_files']
                               if getattr(script, 'filename', script) not in UNUSED_SCRIPTS]


def setup(app):
    for alias in ('vb', 'vba'):
        app.add_lexer(alias, VbaLexer)
    app.connect('doctree-read', use_anchors, priority=100)
    app.connect('doctree-read', mark_warnings)
    app.connect('html-page-context', leave_out_scripts)

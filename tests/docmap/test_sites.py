"""Each kind of site by its rules: small sites, and what becomes of the links of one page of each."""

import subprocess
import sys

import pytest
from docmap.repository import Repository
from docmap.sites import defines_a_site, find_sites, literals, scripts, slugs
from trees import records, write_tree

OK, DOUBTFUL, BROKEN = "ok", "doubtful", "broken"


def site(name, files, page, links, front=""):
    return pytest.param(files, page, front, links, id=name)


# What is mathematics between dollars, and what has prices.
DOLLARS = {
    "$f[x](y.md)$": OK, "$$\nf[x](y.md)\n$$": OK, "[a $x](y.md) z$": OK, "$5 and [x](y.md) $6": BROKEN, "$5 [x](y.md)$6": BROKEN,
}  # fmt: skip
# Markdown where CommonMark has HTML and code, and dead links in it.
JSX = {
    "<Tabs>\n## In aside\n</Tabs>": OK, "[x](#in-aside)": OK,
    "<Tabs>\n  <TabItem value='x'>\n    ## In tab\n\n    text\n  </TabItem>\n</Tabs>": OK, "[x](#in-tab)": OK,
    "<details>\n<summary>x</summary>\n### In `<a>`\n</details>": OK, "[x](#in-a)": OK, "[x](#in-none)": BROKEN,
    "<pre>\n[x](/none/)\n</pre>": OK, "<div>\n<!-- [x](/none/) -->\n{`\n[x](/none/)\n`}\n`[x](/none/)`\n</div>": OK,
    "<div>\n```\n[x](/none/)\n```\n</div>": OK,
}  # fmt: skip
TAGGED = [
    "<div>\n[g](/none/)\n</div>",
    "    [g](/none/)",
    "<Tabs>\n  <div\n    id='x'>\n    [x][none]\n  </div>\n</Tabs>",
]
BOOK = {
    "book.toml": '[output.html.redirect]\n"/old.html" = "guide/a.html"\n',
    "src/SUMMARY.md": "- [Intro](README.md)\n- [A](guide/a.md)\n- [B](guide/b.md)\n",
    "src/README.md": "# Intro\n",
    "src/guide/a.md": "# A\n\n## Same\n\n## Same\n\n## Own {#own .x}\n\n## हिन्दी\n\nterm\n: what it is\n",
    "src/guide/unlisted.md": "# Unlisted\n",
    "src/img/x.png": "",
    "README.md": "",
}
MKDOCS = {
    "mkdocs.yml": "site_url: https://x.org/y/\nplugins: [search, {redirects: {redirect_maps: {old.md: a.md}}}]\n"
    "exclude_docs: left-out.md\nmarkdown_extensions: [attr_list, {pymdownx.snippets: {auto_append: [abbr.txt]}}]\n",
    "abbr.txt": "[appended]: https://x.org\n",
    "docs/index.md": "# Home\n",
    "docs/a.md": "# A\n\n## Was ist’s?\n\n## Same\n\n## Same\n\n## Own { #own }\n\n!!! note\n\n    ## In a note\n",
    "docs/notes.md": "!!! note\n    ### Below\n\n??? note\n    Set\n    ---\n",
    "docs/left-out.md": "# Out\n",
    "docs/img/x.png": "",
    "README.md": "# Read\n",
}
LANGUAGES = {
    "docs/config.yml": "validation: {absolute_links: relative_to_docs}\ntheme: {custom_dir: theme}\n"
    "markdown_extensions: {attr_list: {}, pymdownx.snippets: {base_path: [docs/parts]}}\n",
    "docs/mkdocs.en.yml": "INHERIT: config.yml\nsite_name: En\ndocs_dir: en\ntheme: {language: en}\n",
    "docs/mkdocs.de.yml": "INHERIT: config.yml\nsite_name: De\ndocs_dir: de\n",
    "docs/en/a.md": '# A {#own}\n\n--8<-- "part.md"\n',
    "docs/de/b.md": "# B\n",
    "docs/parts/part.md": "## From a part\n",
    "docs/theme/logo.png": "",
}
ZENSICAL = {
    "zensical.toml": "[project]\nsite_name = 'Z'\ndocs_dir = 'pages'\n[project.markdown_extensions.attr_list]\n"
    "[project.markdown_extensions.toc.slugify]\nobject = 'pymdownx.slugs.slugify'\n"
    "[project.markdown_extensions.pymdownx.snippets]\n[project.plugins.markdown-exec]\n"
    "[project.plugins.mkdocstrings.handlers.python]\n",
    "pages/a.md": "# A\n\n## same\n\n## same\n\n## Straße\n\n## x {#own}\n",
    "pages/c.md": '```python exec="on"\nprint(1)\n```\n',
    "pages/change.md": '--8<-- "CHANGES.md"\n\n## 0.46.0 2024\n',
}
VITEPRESS = {
    "docs/.vitepress/config.ts": "// srcDir: 'no'\nexport default defineConfig({ cleanUrls: true, srcExclude: ['**/draft.md'],\n"
    "  rewrites: { 'pkg/a.md': 'a.md', 'en/:rest*': ':rest*' } })\n",
    "docs/index.md": "# Home\n",
    "docs/guide/index.md": "# Guide\n\n## Über 1.2: ok\n\n## 1st\n\n## Own {#own}\n\n<!--@include: ./part.md-->\n",
    "docs/guide/part.md": "## Included\n",
    "docs/guide/draft.md": "# Draft\n",
    "docs/pkg/a.md": "# A\n\n<Thing />\n\n<Plain />\n",
    "docs/pkg/b.md": "# B\n\n<Plain />\n",
    "docs/.vitepress/theme/Plain.vue": "<template><p>text</p></template>\n",
    "docs/en/c.md": "# C\n",
    "docs/posts/[name].md": "# Post\n",
    "docs/public/_redirects": "/was /a 301\n/older/* /:splat\n",
    "docs/public/x.png": "",
    "docs/guide/y.png": "",
}
DOCUSAURUS = {
    "site/docusaurus.config.js": "const docs = { path: '../docs', routeBasePath: '/' };\n"
    "module.exports = { baseUrl: '/base/', presets: [['classic', { docs, blog: { routeBasePath: 'news' } }]],\n"
    " plugins: [['@docusaurus/plugin-client-redirects', { redirects: [{ from: '/was', to: '/a' }] }]] };\n",
    "site/versions.json": '["2.0", "1.0"]',
    "site/versioned_docs/version-2.0/a.md": "# A\n\n## Two\n",
    "site/versioned_docs/version-1.0/a.md": "# A\n\n## One\n",
    "docs/a.md": "# A\n\n## Next\n",
    "docs/01-intro/02-first.mdx": "# First\n\n## Own {#own}\n\n## Also {/* #also */}\n\n<Tabs>\n\n## In tabs\n\n</Tabs>\n",
    "docs/01-intro/_category_.json": '{"link": {"type": "generated-index", "slug": "/all"}}',
    "docs/01-intro/index.md": "# Intro\n",
    "docs/01-intro/_part.mdx": "[a](02-first.mdx)\n",
    "docs/moved.md": "---\nslug: /somewhere/else\n---\n",
    "docs/img.png": "",
    "site/blog/2024-05-06-post.md": "# Post\n",
    "site/src/pages/team.tsx": "",
    "site/static/x.png": "",
}
STARLIGHT = {
    "astro.config.mjs": "import starlight from '@astrojs/starlight';\nexport default defineConfig({\n"
    "  redirects: { '/old': '/a/' },\n  integrations: [starlight({ locales: { root: {}, de: {} } })] });\n",
    "src/content/docs/index.md": "# Home\n",
    "src/content/docs/a.mdx": "## Tab&shy;len\n\n## Same\n\n## Same\n",
    "src/content/docs/Some Guide/b.md": "---\nslug: b\n---\n",
    "src/content/docs/Some Guide/c.md": "",
    "src/content/docs/de/index.md": "",
    "src/pages/about.astro": "",
    "src/assets/x.png": "",
    "public/y.png": "",
}
HUGO = {
    "hugo.toml": "baseURL = 'https://x.org/'\n[permalinks]\nnews = '/n/:year/:slug/'\n"
    "[markup.goldmark.parser]\nautoDefinitionTermID = true\n",
    "content/_index.md": "# Home\n",
    "content/docs/_index.md": "# Docs\n",
    "content/docs/a.md": "---\naliases: [/old/]\n---\n\n## Same `x`\n\n## Own {#own}\n\nSame x\n: what\n\n{{< unknown >}}\n",
    "content/docs/b.md": "## B\n\n## See [b](/b)\n",
    "content/docs/bundle/index.md": "# Bundle\n",
    "content/docs/bundle/x.png": "",
    "content/news/p.md": "---\ndate: 2024-05-06\nslug: first\ntags: [Big News]\n---\n",
    "static/y.png": "",
}
HUGO_MOUNTS = {
    "hugo.toml": "baseURL = '/'\n[module]\nmounts = [{ source = 'docs', target = 'content/guide' }, "
    "{ source = 'content', target = 'content' }]\n[outputs]\nhome = ['html', 'JSON', 'mine']\n"
    "[outputFormats.mine]\nbaseName = 'index.search'\nmediaType = 'application/json'\n",
    "content/_index.md": "# Home\n",
    "docs/_index.md": "# Guide\n",
    "docs/y.md": "# Y\n",
}
HUGO_LANGUAGES = {
    "hugo.toml": "baseURL = '/'\n[languages.en]\nweight = 1\n[languages.de]\ncontentDir = 'content.de'\n",
    "content/b.md": "# B\n",
    "content.de/b.md": "# B de\n",
    "content.de/only.md": "# Only\n",
}
ZOLA = {
    "config.toml": "base_url = 'https://x.org'\ntaxonomies = [{ name = 'tags' }]\n",
    "content/_index.md": "+++\n+++\n",
    "content/blog/_index.md": "+++\n+++\n",
    "content/blog/2024-05-06-Some_post.md": '+++\naliases = ["old"]\n+++\n\n# What\'s new?\n\n# Own {#own}\n',
    "content/blog/draft.md": "+++\ndraft = true\n+++\n",
    "content/ru.md": "+++\n+++\n\n# Привет\n",
    "static/x.png": "",
}
JEKYLL = {
    "_config.yml": "baseurl: /base\nrepository: https://x.org/y\npermalink: pretty\ncollections: {guides: {output: true}, hidden: {}}\n",
    "index.md": "---\n---\n# Home\n",
    "a.md": "---\n---\n# A\n\n## It's `x`\n\n## Own {#own}\n\n## Below\n{: #below}\n\ntext\n{: #para}\n",
    "about.html": "---\npermalink: /about-us/\n---\n",
    "_posts/2024-05-06-first-post.md": "---\ncategories: news\n---\n",
    "_guides/g.md": "---\n---\n# G\n",
    "_hidden/h.md": "---\n---\n# H\n",
    "_includes/x.html": "",
    "img/x.png": "",
    "docs/README.md": "# Docs\n",
    "more.md": '---\n---\n<div class="x" markdown="1">\n## In one\n</div>\n\n<div>\n## In HTML\n</div>\n',
}
SPHINX = {
    "docs/conf.py": "extensions = ['myst_parser']\nextensions += ['sphinx.ext.intersphinx']\nexclude_patterns = ['out.md']\n"
    "myst_heading_anchors = 2\nmyst_enable_extensions = ['attrs_block']\n",
    "docs/index.md": "# Home\n",
    "docs/a.md": "(the-target)=\n# A\n\n## Same\n\n## Same\n\n```{note}\n(in-note)=\nx\n```\n\n```{figure} x.png\n:name: fig\n```\n",
    "docs/b.rst": ".. _from-rst:\n\nB\n=\n",
    "docs/out.md": "# Out\n",
    "docs/auto.md": "```{automodule} x\n```\n",
    "docs/x.png": "",
    "README.md": "# Read\n",
}
VAULT = {
    "en/.keep": "",
    ".obsidian/app.json": "{}",
    "en/Note one.md": "# Head: [sub] part\n\ntext ^block\n\n## Deep\n",
    "en/deep/Note two.md": "# Two\n",
    "de/Nur hier.md": "# Nur\n",
    "files/x.png": "",
}
HOST = {
    "README.md": "# Read me\n",
    "docs/a.md": '# A 🚀 b\n\n## Same\n\n## Same\n\n<a id="by-hand"></a>\n\n## 日本 é_x\n',
    "LICENSE": "",
    "docs/x.png": "",
}

SITES = [
    site("mdbook", BOOK, "src/guide/b.md", {
        "[x](a.md)": OK, "[x](a.html)": OK, "[x](../README.md)": OK, "[x](../README.md#nope)": BROKEN, "[x](../index.html)": OK, "[x](../print.html)": OK,
        "[x](unlisted.md)": BROKEN, "[x](../../README.md)": BROKEN, "[x](../old.html)": OK, "[x](/old.html)": OK, "[x](../../other/x.md)": DOUBTFUL,
        "[x](../none.md)": BROKEN,
        "[x](a)": DOUBTFUL, "![x](../img/x.png)": OK, "![x](/img/y.png)": BROKEN, "[x](a.md#same-1)": OK,
        "[x](a.md#same-2)": BROKEN, "[x](a.md#own)": OK, "[x](a.md#Own)": BROKEN, "[x](a.md#हिन्दी)": OK,
        "[x](a.md#term)": OK, '<a href="a.html#same">x</a>': OK, '<a href="c.html">x</a>': BROKEN,
    }),
    site("mdbook with a preprocessor", {**BOOK, "book.toml": "[preprocessor.graphs]\n"}, "src/guide/b.md", {
        "[x](c.html)": DOUBTFUL, "[x](a.md#rule)": DOUBTFUL, "[x][rule]": DOUBTFUL,
    }),
    site("mkdocs", MKDOCS, "docs/sub/page.md", {
        "[x](../a.md)": OK, "[x](../../a/)": OK, "[x](../a/)": BROKEN, "[x](../a)": BROKEN, "[x](/y/a/)": OK,
        "[x](/a/)": OK, "[x](../old.md)": BROKEN, "[x](/y/old/)": OK, "[x](../../README.md)": BROKEN,
        "[x](../left-out.md)": BROKEN, "![x](../img/x.png)": OK, '<img src="../img/x.png">': BROKEN,
        '<img src="../../img/x.png">': OK, '<img src="../../../img/x.png">': DOUBTFUL, "[x](../a.md#was-ists)": OK, "[x](../a.md#same_1)": OK,
        "[x](../a.md#same-1)": BROKEN, "[x](../a.md#own)": OK, "[x](../a.md#in-a-note)": OK, "[x][appended]": OK,
        "[x][undefined]": BROKEN, "!!! note\n\n    [x](nope.md)": BROKEN,
        "[x](../notes.md#below)": OK, "[x](../notes.md#set)": OK, "[x](../notes.md#note)": BROKEN, "!!! note\n    # Y\n    [x](nope.md)": BROKEN,
    }),
    *[
        site(f"mkdocs with {what}", {"mkdocs.yml": f"markdown_extensions: {{{extensions}}}\n", "docs/a.md": text}, "docs/page.md", links)
        for what, extensions, text, links in [
            ("escapes in ids", "attr_list: {}", "x **y**{#\\_own}\n", {"[x](a.md#_own)": OK, "[x](a.md#own)": BROKEN}),
            ("signs in attributes", "attr_list: {}", "# A {: data-x=\"a#b\" #own }\n", {"[x](a.md#own)": OK, "[x](a.md#b)": BROKEN}),
            ("a separator", "toc: {separator: _}", "## Q r\n\n## Q -  r\n\n## Q r\n", {
                "[x](a.md#q_r)": OK, "[x](a.md#q_-_r)": OK, "[x](a.md#q_r_1)": OK, "[x](a.md#q-r)": BROKEN,
            }),
            ("elements", "md_in_html: {}", "<div markdown>\n## In one\n</div>\n\n<details class=x markdown=1><summary>a</summary>\n## In two\n\n"
                "</details>\n\n<div>\n## In HTML\n</div>\n\n<div markdown='span'>\n## In span\n</div>\n", {
                "[x](a.md#in-one)": OK, "[x](a.md#in-two)": OK, "[x](a.md#in-html)": BROKEN, "[x](a.md#in-span)": BROKEN,
                "<div markdown='block'>\n[x](none.md)\n</div>": BROKEN, "<div>\n[x](none.md)\n</div>": OK,
                "<div markdown>\n<pre>\n[x](none.md)\n</pre></div>": OK,
                "<div markdown>\n<a href='../a/'>x</a>\n</div>": OK, "<div markdown>\n<a href='a.md'>x</a>\n</div>": BROKEN,
            }),
            ("definitions", "extra: {}", "A\n:   d\n\n    ### Def\n\n[^1]: x\n\n    ### Note\n\nB\n: x\n    ### Text\n", {
                "[x](a.md#def)": OK, "[x](a.md#note)": OK, "[x](a.md#text)": OK, "[x](a.md#none)": BROKEN, "A\n\n:   d\n\n    [x](none.md)": BROKEN,
                "[^1]: d\n\n    - [x](none.md) [^1]": BROKEN, "[^2]:\n    [x](none.md) [^2]": BROKEN,
            }),
            ("blocks", "pymdownx.blocks.html: {}", "/// html | div#own.class\n## In\n///\n\n/// html | p\n    attrs: {class: x, id: other}\n\ny\n///\n", {
                "[x](a.md#own)": OK, "[x](a.md#other)": OK, "[x](a.md#in)": OK, "[x](a.md#class)": BROKEN,
            }),
            ("no elements", "attr_list: {}", "<div markdown>\n## In one\n</div>\n\nA\n:   d\n\n    ## In def\n", {
                "[x](a.md#in-one)": BROKEN, "[x](a.md#in-def)": BROKEN,
            }),
            ("a separator and a function", "markdown.extensions.toc: {separator: _, slugify: pymdownx.slugs.uslugify}", "## Q ü\n", {
                "[x](a.md#q_ü)": OK, "[x](a.md#q-ü)": BROKEN,
            }),
        ]
    ],
    site("mkdocs with hooks", {**MKDOCS, "mkdocs.yml": "hooks: [h.py]\n", "h.py": "def on_page_markdown(markdown): ...\n"},
        "docs/page.md", {"[x](a.md#made)": DOUBTFUL, "[x](b.md)": BROKEN}),
    site("mkdocs with a hook that replaces a link", {**MKDOCS, "mkdocs.yml": "hooks: [h.py]\n",
        "h.py": "def on_page_markdown(markdown): return markdown.replace('A.md)', 'a.md)')\n"},
        "docs/page.md", {"[x](A.md)": DOUBTFUL, "[x](a.md)": OK}),
    site("mkdocs with i18n", {
        "mkdocs.yml": "plugins: [{i18n: {docs_structure: folder, languages: [{locale: en, default: true}, {locale: ja}]}}]\n",
        "docs/en/a.md": "# A\n", "docs/ref/b.md": "# B\n", "docs/x.png": "", "docs/ja/c.md": "# C\n"}, "docs/ja/page.md", {
        "[x](a.md)": OK, "[x](ref/b.md)": OK, "[x](../ref/b.md)": OK, "[x](../en/a.md)": OK, "![x](x.png)": OK, "![x](y.png)": BROKEN,
        "[x](d.md)": BROKEN, "[x](/a/)": OK, "[x](/ja/c/)": OK, "[x](/c/)": BROKEN, "[x](/ja/a/)": OK, '<a href="../c/">x</a>': OK,
    }),
    site("mkdocs with i18n by suffix", {
        "mkdocs.yml": "plugins: [{i18n: {languages: [{locale: en, default: true}, {locale: ja}]}}]\n",
        "docs/a.md": "# A\n", "docs/b.md": "# A\n", "docs/b.ja.md": "# B\n"}, "docs/page.ja.md", {
        "[x](a.md#a)": OK, "[x](b.md#b)": OK, "[x](b.md#a)": BROKEN, "[x](b.md)": OK, "[x](b.ja.md)": OK, "[x](c.md)": BROKEN, '<a href="../b/">x</a>': OK, "[x](/fr/b/)": BROKEN,
    }),
    site("mkdocs by language", LANGUAGES, "docs/en/page.md", {
        "[x](a.md)": OK, "[x](/a.md)": OK, "[x](b.md)": BROKEN, "[x](../de/b.md)": BROKEN, "[x](../../de/b/)": DOUBTFUL,
        "![x](../logo.png)": OK, "[x](a.md#own)": OK, "[x](a.md#from-a-part)": OK, "[x](../README.md)": BROKEN,
    }),
    site("a workflow named for a site", {"mkdocs-build.yml": "on: push\n", "docs/a.md": "# A\n\n## A_ -- b\n"}, "docs/page.md", {
        "[x](a.md#a_----b)": OK, "[x](a.md#a_-b)": BROKEN,
    }),
    site("zensical", ZENSICAL, "pages/page.md", {
        "[x](a.md#same_1)": OK, "[x](a.md#same-1)": BROKEN, "[x](a.md#Straße)": OK, "[x](a.md#own)": OK, "[x](b.md)": BROKEN,
        "[x](../a/)": OK, "[x](c.md#printed)": DOUBTFUL, "[x](change.md#0460-2024)": OK, "[x][some.name]": DOUBTFUL,
        "[x][own]": OK, "[`Page`][]": OK,
    }),
    site("zensical shows another file", ZENSICAL, "CHANGES.md", {"[x](a.md)": OK, "[x][some.name]": DOUBTFUL, "[x](b.md)": BROKEN}),
    *[
        site(f"labels of what {kind} includes", {**files, "parts/refs.md": "[lab]: https://x.org\n\n## In part\n"}, page, {
            "[x][lab] [lab][]": OK, "[x][none]": BROKEN, include: OK,
        })
        for kind, files, page, include in [
            ("mkdocs", {"mkdocs.yml": "markdown_extensions: {pymdownx.snippets: {base_path: [parts]}}"}, "docs/page.md", '--8<-- "refs.md"'),
            ("mdbook", {"book.toml": "", "src/SUMMARY.md": "- [P](page.md)\n"}, "src/page.md", "{{#include ../parts/refs.md}}"),
            ("vitepress", {".vitepress/config.ts": ""}, "page.md", "<!--@include: ./parts/refs.md-->"),
        ]
    ],
    site("vitepress: labels of the page around a part", {".vitepress/config.ts": "", "page.md": "<!--@include: ./part.md-->\n\n[lab]: https://x.org\n"},
        "part.md", {"[x][lab]": OK, "[x][none]": BROKEN}),
    site("mkdocs: snippets that name others", {"mkdocs.yml": "markdown_extensions: {pymdownx.snippets: {base_path: [parts], auto_append: [all.md]}}",
        "parts/all.md": "--8<--\nrefs.md\n;no.md\n\nmore.md\n--8<--\n", "parts/refs.md": "[lab]: https://x.org\n", "parts/more.md": "[more]: https://x.org\n\n## In more\n"},
        "docs/page.md", {"[x][lab]": OK, "[x][more]": OK, "[x][none]": BROKEN, "[x](#in-more)": OK, "--8<--\nmore.md\n--8<--": OK}),
    site("mkdocs: what is appended to all pages", {"mkdocs.yml": "markdown_extensions: {pymdownx.snippets: {auto_append: [all.md]}}", "docs/a.md": "# A\n"},
        "all.md", {"[x](a.md)": OK, "[x](a.md#none)": BROKEN, "[x](none.md)": BROKEN}),
    site("mkdocs: a snippet that is not here", {"mkdocs.yml": "markdown_extensions: [pymdownx.snippets]"},
        "docs/page.md", {"[x][lab]": DOUBTFUL, '--8<-- "none.md"': OK}),
    *[
        site(f"mkdocs by {path}", {path: "site_name: x\nmarkdown_extensions: [attr_list]\n", "docs/a.md": "# A {#own}\n"}, "docs/page.md",
            {"[x](a.md#own)": OK, "[x](../a/)": OK, "[x](a.md#a)": BROKEN})
        for path in ("properdocs.yml", "zensical.yml")
    ],
    site("the navigation of mkdocs", {**MKDOCS}, "mkdocs.yml", {
        "- index.md": OK, "- A: a.md": OK, '- "b.md"': BROKEN, "- Part:\n  - sub/c.md  # c": BROKEN, "- https://x.org/d.md": OK, "- sub/*.md": OK,
    }, "nav: &nav\n- *nav\n- "),
    site("the navigation of zensical", {"zensical.toml": "", "docs/index.md": ""}, "zensical.toml", {
        '{ A = "index.md" },': OK, '{ B = ["b.md"] },': BROKEN, '"c.md" ]': BROKEN,
    }, "[project]\nsite_name = ''\nnav = [\n"),
    site("vitepress", VITEPRESS, "docs/guide/page.md", {
        "[x](./)": OK, "[x](/guide/)": OK, "[x](/guide)": OK, "[x](./page.html)": OK, "[x](page.md)": OK,
        "[x](/a)": OK, "[x](/pkg/a)": BROKEN, "[x](/c)": OK, "[x](/en/c)": BROKEN,
        "[x](/was)": OK, "[x](/older/x)": OK, "[x](draft.md)": BROKEN, "[x](/posts/one)": DOUBTFUL, "<a\n  class='x'\n  href='/none'>x</a>": BROKEN, "<a href='\n  /a\n'>x</a>": OK,
        "![x](y.png)": OK, "![x](/x.png)": OK, "![x](./x.png)": BROKEN, "[x](./#uber-1-2-ok)": OK, "[x](./#_1st)": OK,
        "[x](./#own)": OK, "[x](./#Own)": OK, "[x](./#included)": OK, "[x](./#nope)": BROKEN, "[x](/a#nope)": DOUBTFUL,
        "[x](/pkg/b#nope)": BROKEN,
    }),
    site("docusaurus", DOCUSAURUS, "docs/page.md", {
        "[x](a.md)": OK, "[x](./a.md#next)": OK, "[x](./a.md#Next)": BROKEN, "[x](01-intro/02-first.mdx#own)": OK,
        "[x](01-intro/02-first.mdx#also)": OK, "[x](01-intro/02-first.mdx#in-tabs)": OK, "[x](/01-intro/02-first.mdx)": OK,
        "[x](/next/intro/first)": OK, "[x](/next/intro/)": OK, "[x](intro/first)": OK, "[x](01-intro/02-first)": BROKEN,
        "[x](/a#two)": OK, "[x](/1.0/a#one)": OK, "[x](/1.0/a#two)": BROKEN, "[x](/next/somewhere/else)": OK,
        "[x](moved.md)": OK, "[x](/next/moved)": BROKEN, "[x](/was)": OK, "[x](/news/2024/05/06/post)": OK,
        "[x](/news)": OK, "[x](../site/blog/2024-05-06-post.md)": BROKEN, "[x](/team)": OK, "[x](/next/all)": OK, "![x](/x.png)": OK, "![x](./img.png)": OK, "![x](@site/static/x.png)": OK,
        "![x](@site/static/z.png)": BROKEN, "[x](pathname:///api)": OK, "[x](../README.md)": BROKEN,
        "[x](/base/a)": OK, "[x](/none)": BROKEN, "{/* [x](none.md) */}": OK,
    }),
    site("docusaurus with hooks", {**DOCUSAURUS, "site/docusaurus.config.js": "module.exports = { markdown: { hooks: { a() {} } },\n"
        " presets: [['classic', { docs: { path: '../docs' } }]] };\n"},
        "docs/page.md", {"[x](../site/blog/2024-05-06-post.md)": DOUBTFUL, "[x](../site/versioned_docs/version-1.0/a.md)": OK}),
    site("vitepress: a home page", VITEPRESS, "docs/zh/index.md", {
        "    - link: /guide/": OK, "    - {text: x, link: guide/}": BROKEN, "    - link: guide/page": BROKEN, "    - link: pkg/b": OK, "    - link: /guied/": BROKEN,
        "    - link: https://x.org": OK, "  image: {src: /x.png}": OK, "next: {text: b, link: /pkg/bb}": BROKEN, "other: {link: /none}": OK, "---": OK,
    }, "---\nlayout: home\nhero:\n  actions:\n"),
    site("vitepress: a theme of one's own", {**VITEPRESS, "docs/.vitepress/theme/index.ts": "export default {}"}, "docs/index.md",
        {"    - link: /guied/": DOUBTFUL, "    - link: /guide/": OK, "---": OK}, "---\nlayout: home\nhero:\n  actions:\n"),
    site("starlight: a home page", STARLIGHT, "src/content/docs/index.mdx", {
        "  image: {file: ../../assets/x.png}": OK, "  image: {file: ../../assets/z.png}": BROKEN, "  actions: [{link: /a/}, {link: /aa/}]": BROKEN,
        "prev:\n  link: /b/": OK, "next: a": OK, "---": OK,
    }, "---\nhero:\n"),
    site("starlight", STARLIGHT, "src/content/docs/guides/page.md", {
        "[x](/a/)": OK, "[x](/a)": OK, "[x](../../a/)": OK, "[x](../a/)": BROKEN, "[x](../a.mdx)": BROKEN, "[x](/b/)": OK,
        "[x](/some-guide/b/)": BROKEN, "[x](/some-guide/c/)": OK, "[x](/de/a/)": OK, "[x](/fr/a/)": BROKEN, "[x](/about/)": OK, "[x](/old/)": OK,
        "[x](/a/#tablen)": OK, "[x](/a/#same-1)": OK, "[x](/a/#same_1)": BROKEN, "[x](/a/#_top)": OK,
        "![x](../../../assets/x.png)": OK, "![x](/y.png)": OK, "![x](../y.png)": BROKEN,
    }),
    site("hugo", HUGO, "content/docs/page.md", {
        "[x](../a/)": OK, "[x](/docs/a)": OK, "[x](/docs/)": OK, "[x](/news/)": OK, "[x](a.md)": BROKEN, "[x](/old/)": OK,
        "[x](/n/2024/first/)": OK, "[x](/news/p/)": BROKEN, "[x](/tags/big-news/)": OK, "[x](/tags/none/)": BROKEN,
        "![x](/y.png)": OK, "![x](../bundle/x.png)": OK, "![x](x.png)": BROKEN, "[x](../a/#same-x)": OK,
        "[x](../a/#same-x-1)": OK, "[x](../a/#own)": OK, "[x](../a/#nope)": DOUBTFUL, "[x](../b/#nope)": BROKEN, "[x](../b/#see-bb)": OK, "[x](../b/#see-b)": BROKEN,
        '[x]({{< ref "a.md" >}})': OK, '[x]({{% relref "/docs/b#b" %}})': OK, '[x]({{% relref "/docs/b#c" %}})': BROKEN,
        '[x]({{< ref "c" >}})': BROKEN, "[x]({{< other >}})": DOUBTFUL,
    }),
    site("hugo with a hook", {**HUGO, "layouts/_markup/render-link.html": '{{ if eq .Destination "g" }}'},
        "content/docs/page.md", {"[x](a.md)": OK, "[x](/docs/a)": OK, "[x](c.md)": BROKEN, "[x](g)": OK}),
    site("hugo with mounts", HUGO_MOUNTS, "docs/page.md", {
        '[x]({{< relref "/guide/y.md" >}})': OK, '[x]({{< ref "y" >}})': OK, '[x]({{< ref "/docs/y.md" >}})': BROKEN,
        "[x](/guide/y/)": OK, "[x](../y/)": OK, "[x](/y/)": BROKEN, "[x](/docs/y/)": BROKEN, "[x](/guide/)": OK,
        "[x](/index.json)": OK, "[x](/index.search.json)": OK, "[x](/guide/index.json)": BROKEN, "[x](/index.ics)": BROKEN,
        "{{< highlight go >}}\na[x](y)\n{{< /highlight >}}": OK, "{{< other >}}\na[x](y)\n{{< /other >}}": BROKEN,
    }),
    site("hugo with languages", HUGO_LANGUAGES, "content/page.md", {
        "[x](/b/)": OK, "[x](/de/b/)": OK, "[x](/de/only/)": OK, "[x](/de/none/)": BROKEN, "[x](/content/b/)": BROKEN,
        '[x]({{< ref "b#b" >}})': OK, '[x]({{< ref "b#b-de" >}})': BROKEN, '[x]({{< ref path="only" lang="de" >}})': OK,
    }),
    site("hugo, between its folders of content", HUGO_LANGUAGES, "README.md", {"[x](content.de/b.md)": OK, "[x](/b/)": BROKEN}),
    *[
        site(f"documents of Docusaurus 1: {page}", {"website/siteConfig.js": "customDocsPath: 'x/pages',", "pages/a.md": ""}, page,
            {"[x](/docs/a.html)": degree, "[x](/b.html)": degree})
        for page, degree in [("pages/b.md", DOUBTFUL), ("website/blog/b.md", DOUBTFUL), ("other/b.md", BROKEN)]
    ],
    site("zola", ZOLA, "content/page.md", {
        "[x](@/blog/2024-05-06-Some_post.md)": OK, "[x](@/blog/2024-05-06-Some_post.md#what-s-new)": OK,
        "[x](@/blog/2024-05-06-Some_post.md#own)": OK, "[x](@/blog/2024-05-06-Some_post.md#nope)": BROKEN,
        "[x](@/blog/none.md)": BROKEN, "[x](@/blog/draft.md)": BROKEN, "[x](/blog/some-post/)": OK, "[x](/old/)": OK,
        "[x](/blog/2024-05-06-Some_post/)": BROKEN, "[x](blog/2024-05-06-Some_post.md)": BROKEN, "![x](/x.png)": OK,
        "[x](@/ru.md#privet)": DOUBTFUL, "[x](/tags/a/)": DOUBTFUL,
    }, "+++\n+++\n"),
    site("a draft of zola", ZOLA, "content/blog/page.md", {
        "[x](@/ru.md)": OK, "[x](@/none.md)": BROKEN, "[x](../some-post/)": OK, "[x](#page)": OK, "[x](draft.md)": BROKEN, "[x](@/blog/draft.md)": OK,
    }, "+++\ndraft = true\n+++\n"),
    site("zola below an address", {**ZOLA, "config.toml": "base_url = 'https://x.org/base/'\n"}, "content/page.md", {
        "[x](/base/blog/some-post/)": OK, "[x](/base/none/)": BROKEN, "[x](/blog/some-post/)": DOUBTFUL,
    }, "+++\n+++\n"),
    site("jekyll", JEKYLL, "page.md", {
        "[x](a.md)": OK, "[x](/base/a/)": OK, "[x](../a/)": OK, "[x](a/)": BROKEN, "[x](/a/)": OK, "[x](/base/b/)": BROKEN,
        "[x](/base/about-us/)": OK, "[x](/base/about/)": BROKEN, "[x](/base/guides/g/)": OK, "[x](/base/hidden/h/)": BROKEN,
        "[x](/base/news/2024/05/06/first-post/)": OK, "[x](/base/docs/)": OK, "![x](/base/img/x.png)": OK,
        "![x](../img/x.png)": OK, "[x](a.md#its-x)": OK, "[x](a.md#own)": OK, "[x](a.md#below)": OK, "[x](a.md#para)": OK, "[x](a.md#a-1)": BROKEN,
        "{::comment}\n[x](none.md)\n{:/comment}": OK, "{::comment}[x](none.md){:/}": OK, "{% comment %}\n[x](none.md)\n\n# B\n{% endcomment %}": OK,
        "{% highlight ruby %}\na[x](y)\n\n[y][none]\n{% endhighlight %}": OK, "{% raw %}\n[x](none.md)\n{% endraw %}": BROKEN, "[x](#b)": BROKEN,
        "    {::comment}\n\n[x](none.md)\n\n    {:/}": BROKEN, "{::options toc_levels='2' /}\n[x](none.md)": BROKEN,
        "[x](more.md#in-one)": OK, "[x](more.md#in-html)": BROKEN, '<div markdown="1">\n[x](none.md)\n</div>': BROKEN,
        "[x]({% link a.md %})": OK, "[x]({% link a.md %}#nope)": BROKEN, "[x]({% link b.md %})": BROKEN,
        "[x]({% post_url 2024-05-06-first-post %})": OK, "[x]({% post_url 2024-05-06-none %})": BROKEN,
        "[x]({{ site.baseurl }}/a/)": OK, '[x]({{ "/none/" | relative_url }})': BROKEN, "[x]({{ page.next }})": DOUBTFUL, "[x]({{ site.repository }}/issues)": OK,
    }, "---\n---\n"),
    *[
        site(f"a draft of jekyll in {page}", JEKYLL, page, {
            "[x](/base/about-us/)": OK, "[x](/base/about/)": BROKEN, "[x]({% link a.md %})": OK, "[x](#pp)": OK, "x\n{: #pp}": OK,
        }, f"---\n{fields}---\n")
        for page, fields in [("_drafts/page.md", ""), ("_posts/2024-01-01-page.md", "published: false\n"), ("page.md", "published: false\n")]
    ],
    site("jekyll with a prefix of ids", {"_config.yml": "kramdown: {auto_id_prefix: x-}\n", "a.md": "# A\n\n# A\n\n# B\n{: #own}\n"}, "page.md", {
        "[x](a.md#x-a)": OK, "[x](a.md#x-a-1)": OK, "[x](a.md#own)": OK, "[x](a.md#a)": BROKEN,
    }),
    site("jekyll with defaults of some files", {
        "_config.yml": "defaults: [{scope: {path: 'a/*.md'}, values: {permalink: '/moved/:basename/'}}]\n",
        "a/x.md": "---\n---\n", "b.md": "---\n---\n",
    }, "page.md", {
        "[x](/moved/x/)": OK, "[x](/a/x.html)": BROKEN, "[x](/b.html)": OK, "[x](/moved/b/)": BROKEN,
    }, "---\n---\n"),
    site("jekyll in a folder", {"docs/_config.yml": "", "docs/a.md": "", "notes.md": ""}, "docs/page.md", {
        "[x](a.md)": OK, "[x](../notes.md)": BROKEN, "[x](none.md)": BROKEN,
    }),
    site("what the host shows too", JEKYLL, "README.md", {
        "[x](/img/x.png)": OK, "[x](_hidden/h.md)": OK, "[x](a.md)": OK, "[x](b.md)": BROKEN, "[x](/base/a/)": OK,
    }),
    site("sphinx", SPHINX, "docs/sub/page.md", {
        "[x](../a.md)": OK, "[x](../a)": OK, "[x](/a.md)": OK, "[x](../b.rst)": OK, "[x](../out.md)": BROKEN,
        "[x](#the-target)": OK, "[x](#The-Target)": OK, "[x](the-target)": OK, "[x](#from-rst)": OK, "[x](#fig)": OK, "[x](#in-note)": OK,
        "[x](#nope)": DOUBTFUL, "[x](../a.md#same-1)": OK, "[x](../a.md#nope)": BROKEN, "[x](../auto.md#nope)": DOUBTFUL,
        "[x](project:../a.md)": OK, "[x](project:../none.md)": BROKEN, "<project:#the-target>": OK,
        "[x](path:../x.png)": OK, "![x](../x.png)": OK, "![x](/x.png)": OK, "![x](x.png)": BROKEN,
        '<a href="../a.html">x</a>': OK, '<a href="../none.html">x</a>': BROKEN,
        "% [x](none.md)\n% [x](none.md)": OK, "a % [x](none.md)": BROKEN, "x\n  % [x](none.md)": OK,
    }),
    site("sphinx: roles and directives", {**SPHINX, "docs/part/p.md": "", "docs/part/only.png": "", "part.md": "(from-part)=\n",
        "docs/conf.py": "extensions = ['myst_parser']\nexclude_patterns = ['out.md', 'part']\n"},
        "docs/sub/page.md", {
        "{doc}`../a`": OK, "{doc}`/a`": OK, "{doc}`Text <../b>`": OK, "{doc}`../a.md`": BROKEN, "{doc}`../none`": BROKEN,
        "{doc}`../out`": BROKEN, "{doc}`!../none`": OK, "`{doc}` `x`": OK, "``{doc}`x` ``": OK, "\\{doc}`x`": OK,
        "{ref}`the-target`": OK, "{ref}`Text <The-Target>`": OK, "{ref}`from-rst`": OK, "{ref}`in-note`": OK, "{numref}`fig`": OK,
        "{ref}`genindex`": OK, "{ref}`same`": BROKEN, "{ref}`from-rts`": BROKEN, "{ref}`in-yaml`": OK, "{ref}`a\nb`": BROKEN,
        "{download}`../x.png`": OK, "{download}`x <x.png>`": BROKEN, "{download}`https://x.org/x`": OK,
        "```{toctree}\n:caption: none\n\n../a\n../b.rst\nA <../a.md>\nself\nX <https://x.org>\nsub*\n```": OK,
        "```{toctree}\nnone\n```": BROKEN, ":::{toctree}\n---\nmaxdepth: 1\n---\n/a\nX <none>\n:::": BROKEN, "```{toctree}\n../out.md\n```": BROKEN,
        "```{include} ../part/p.md\n```": OK, "```{include} ../../part.md\n```": OK, "{ref}`from-part`": OK, "```{image} only.png\n```": DOUBTFUL, "```{literalinclude} /none.py\n```": BROKEN, ":::{figure} x.png\n:::": BROKEN,
        "```{image} /x.png\n```": OK, "````{note}\n```{image} x.png\n```\n````": BROKEN, "````\n```{image} x.png\n```\n````": OK,
        "```{figure-md}\n---\nname: in-yaml\n---\n```": OK, "<!--\n:::{image} x.png\n:::\n-->": OK,
    }),
    site("sphinx: labels that cannot be known", {**SPHINX, "docs/conf.py": "extensions = ['myst_parser', 'sphinx_x']\n"},
        "docs/page.md", {"{ref}`none`": DOUBTFUL, "{ref}`the-targat`": BROKEN, "{doc}`none`": DOUBTFUL, "```{image} none.png\n```": DOUBTFUL, "{doc}`indxe`": BROKEN}),
    site("sphinx: documents that conf.py writes", {**SPHINX, "docs/conf.py": "extensions = ['myst_parser']\nopen('made.md', 'w')\n"},
        "docs/page.md", {"{ref}`none`": BROKEN, "{doc}`made`": DOUBTFUL}),
    site("sphinx: directives that conf.py adds", {**SPHINX, "docs/conf.py": "extensions = ['myst_parser']\n"
        "def setup(app):\n    app.add_directive('x', X)\n"}, "docs/page.md", {"{ref}`none`": DOUBTFUL, "{doc}`none`": BROKEN}),
    site("sphinx: events that conf.py handles", {**SPHINX, "docs/conf.py": "extensions = ['myst_parser']\n"
        "def setup(app):\n    app.connect('builder-inited', x)\n"}, "docs/page.md", {"{doc}`none`": DOUBTFUL}),
    site("sphinx: labels of other projects and of headings", {**SPHINX, "docs/conf.py": "import myst_parser\n"
        "extensions = ['sphinx.ext.intersphinx']\nintersphinx_mapping = {'py': ('https://x.org', None)}\n"},
        "docs/page.md", {"{ref}`none`": DOUBTFUL, "{ref}`py:none`": OK, "{doc}`none`": BROKEN, "{ref}`the-targat`": BROKEN, "{ref}`the/target`": DOUBTFUL, "{ref}`thextarget`": BROKEN, "{ref}`the-targets`": DOUBTFUL, "{ref}`the_target`": DOUBTFUL}),
    site("sphinx: documents of other projects", {**SPHINX, "docs/conf.py": "import myst_parser\n"
        "extensions = ['sphinx.ext.intersphinx']\nintersphinx_disabled_reftypes = []\n"}, "docs/page.md", {"{doc}`none`": DOUBTFUL}),
    *[
        site(f"sphinx: documents that autodoc2 and {'' if degree else 'no '}summaries make", {"conf.py": "extensions = "
            "['myst_parser', 'autodoc2', 'sphinx.ext.autosummary']\nautodoc2_output_dir = 'made'\n", "api.rst": text}, "page.md",
            {"{doc}`made/a/b`": DOUBTFUL, "{doc}`other`": degree or BROKEN, "```{toctree}\nmade/x\n```": DOUBTFUL})
        for text, degree in [(".. autosummary::\n   :nosignatures:\n   :toctree: x\n", DOUBTFUL), (".. autosummary::\n\n   x\n", None)]
    ],
    site("sphinx with names of other projects", SPHINX, "docs/sub/page.md", {
        "[x](a.mutable)": DOUBTFUL, "[x](rest-api)": DOUBTFUL, "[x](genindex)": OK, "[x](from-rst)": OK, "[x](none.md)": BROKEN,
        "[x](sub/name)": BROKEN, "[x](./name)": BROKEN, "[x](name.html)": BROKEN,
    }),
    *[
        site(f"sphinx with names of {what}", {"conf.py": conf, "a.md": f"(the-target)=\n# A\n{text}"}, "page.md", {
            "[x](a.mutable)": degree, "[x](the-target)": OK, "[x](the-targett)": degree, "[x](search)": OK,
        })
        for what, conf, text, degree in [
            ("labels", "extensions = ['myst_parser', 'sphinx_design']\n", "", BROKEN),
            ("programs", "extensions = ['myst_parser', 'sphinx.ext.autodoc']\n", "", DOUBTFUL),
            ("an extension", "extensions = ['myst_parser', 'own']\n", "", DOUBTFUL),
            ("conf.py", "extensions = ['myst_parser']\ndef setup(app):\n    other(app)\n", "", DOUBTFUL),
        ]
    ],
    site("sphinx with a file of redirects", {"conf.py": "import myst_parser\nrediraffe_redirects = 'r.txt'\n",
        "r.txt": '# old new\n"old.md" "a.md"\nolder.md a.md\n', "a.md": "# A\n"}, "page.md", {
        "[x](old.html)": OK, "[x](older.html)": OK, "[x](a.html)": OK, "[x](oldest.html)": BROKEN,
    }),
    site("sphinx with names of directives", {"conf.py": "extensions = ['myst_parser']\n",
        "a.rst": ".. py:class:: a.mutable\n", "b.md": "```{py:function} frozen(x)\n```\n"}, "page.md", {
        "[x](a.mutable)": DOUBTFUL, "[x](b.frozen)": DOUBTFUL, "[x](b.froze)": BROKEN,
    }),
    site("vault", VAULT, "en/page.md", {
        "[[Note one]]": OK, "[[note ONE|text]]": OK, "[[deep/Note two]]": OK, "[[Note two]]": OK, "[[Nur hier]]": BROKEN,
        "[[Note one#Head sub part]]": OK, "[[Note one#head: [sub] part]]": OK, "[[Note one#Head#Deep]]": OK,
        "[[Note one#nope]]": BROKEN, "[[Note one#^block]]": OK, "[[Note one#^nope]]": BROKEN, "![[x.png]]": OK,
        "![[y.png]]": BROKEN, "![[Note two]]": OK, "[x](Note%20one.md)": OK, "[x](Note%20two.md)": OK, "[x](none.md)": BROKEN,
        "%% [[none]] %%": OK, "```\n%%\n```\n\n[[none]]": BROKEN,
        "a %% [[none]] [b](none.md) %% c": OK, "%% a %% [[none]]": BROKEN, "%% [[none]] %% [[none]]": BROKEN,
        "50%% of [[none]]": BROKEN, "`%%` [[none]] `%%`": BROKEN, "a %% `b` ![[none]] %% c %%": OK,
        "a $[[1,2]]$ b": OK, "$[[1]]$ $[[1]]$ [[1]]": BROKEN, "$$[[a]]$$": OK, "$$\n[[a]]\n$$": OK, "$5 [[none]] $6": BROKEN,
        "$ [[none]]$": BROKEN, "`$` [[none]] `$`": BROKEN, r"\$[[none]]$": BROKEN, "$5\n[[none]]$": BROKEN,
    }),
    site("mathematics and templates of a vault", VAULT, "en/page.md", {
        "$f[x](y)$": OK, "$$\nf[x](y)\n$$": OK, "a $x$ [x](y)": BROKEN, "$5 and [x](y) $6": BROKEN, "[$x$](y)": BROKEN,
        "[x](<% y %>) ![x](<% y %>)": DOUBTFUL, "[x](<%- y _%>)": DOUBTFUL, "[x](<y %>)": BROKEN,
        "[a $x](y) z$": OK, "$5 [x](y)$6": BROKEN, "$f[x](y)$ [x](y)": BROKEN, r"\$f[x](y)$": BROKEN, "![x](y) $2$ ![x](z)": BROKEN,
    }),
    *[
        site(f"mathematics of {what}", files, page, {**DOLLARS, **more})
        for what, files, page, more in [
            ("the code host", {}, "page.md", {"$x[i][j]$ $x[^2]$ $![x](y)$": OK, "`$` [x](y) `$`": BROKEN}),
            ("MkDocs", {"mkdocs.yml": "markdown_extensions: [pymdownx.arithmatex]\n"}, "docs/page.md",
                {"\\\\(f[x](y.md)\\\\)": BROKEN, "\\(f[x](y.md)\\)": OK, "\\begin{align}\nf[x](y.md)\n\\end{align}": OK}),
            ("MyST", {"conf.py": "extensions = ['myst_parser']\nmyst_enable_extensions = ['dollarmath', 'amsmath']\n"}, "page.md",
                {"\\begin{equation*}\nf[x](y.md)\n\\end{equation*}": OK, "\\begin{equation}\n\nf[x](y.md)": BROKEN}),
            ("Docusaurus", {"docusaurus.config.js": "import remarkMath from 'remark-math';\nexport default { presets: [['classic', {}]] }"},
                "docs/page.md", {}),
            ("VitePress", {".vitepress/config.js": "export default { markdown: { math: true } }"}, "page.md", {}),
            ("Hugo", {"hugo.toml": "baseURL = ''\n[markup.goldmark.extensions.passthrough]\nenable = true\n"
                "delimiters = { block = [['$$', '$$']], inline = [['$', '$'], ['\\(', '\\)']] }\n", "content/_index.md": ""},
                "content/page.md", {"\\(f[x](y.md)\\)": OK}),
        ]
    ],
    site("mathematics of mdBook", {**BOOK, "book.toml": "[output.html]\nmathjax-support = true\n", "src/SUMMARY.md": "- [a](page.md)\n"},
        "src/page.md", {"$$f[x](y.md)$$": OK, "\\\\(f[x](y.md)\\\\)": OK, "$f[x](y.md)$": BROKEN, "\\(f[x](y.md)\\)": BROKEN}),
    *[
        site(f"no mathematics in {next(iter(files))}", files, page, {"$f[x](y.md)$ \\(f[x](y.md)\\)": BROKEN})
        for files, page in [
            (BOOK, "src/guide/b.md"), (MKDOCS, "docs/page.md"), (SPHINX, "docs/page.md"), (DOCUSAURUS, "docs/page.md"),
            (VITEPRESS, "docs/page.md"), (HUGO, "content/page.md"),
        ]
    ],
    *[
        site(f"Markdown between tags of {page}", files, page, {**JSX, **dict.fromkeys(TAGGED, degree)})
        for files, page, degree in [
            (DOCUSAURUS, "docs/page.mdx", BROKEN), (DOCUSAURUS, "docs/page.md", BROKEN), (STARLIGHT, "src/content/docs/page.mdx", BROKEN),
        ]
    ],
    site("no Markdown between tags", STARLIGHT, "src/content/docs/page.md", {
        "<div>\n## In div\n[g](/none/)\n</div>": OK, "    [g](/none/)": OK, "[x](#in-div)": BROKEN,
    }),
    site("no Markdown between tags where the format is set", {
        **DOCUSAURUS, "site/docusaurus.config.js": "export default { markdown: { format: 'detect' }, presets: [['classic', {}]] }",
        }, "site/docs/page.md", {"<div>\n[g](none.md)\n</div>": OK, "[g](none.md)": BROKEN}),
    *[
        site(f"spaces in a heading, {page}", {**files, page.replace("page.", "b."): "# Step 1:  Do `a  b` *it*  [x](/)\n"}, page, {
            f"[x]({link}#step-1--do-a--b-it--x)": OK, f"[x]({link}#step-1--do-a-b-it--x)": BROKEN,
        })
        for files, page, link in [
            ({"README.md": ""}, "docs/page.md", "b.md"), (BOOK, "src/guide/page.md", "b.md"), (DOCUSAURUS, "docs/page.md", "b.md"),
            (JEKYLL, "page.md", "b.md"), (STARLIGHT, "src/content/docs/page.md", "/b/"), (SPHINX, "docs/page.md", "b.md"),
        ]
    ],
    site("headings with images", {"a.md": "## ![img](i.png) Pic\n\n## <img src='i.png'> Pic\n\n## Table <!-- omit in toc -->\n\n"
        "## [![a][b]](c)  D\n\n## In `<a>` <b>x</b>\n\n[b]: i.png\n[](c)\n", "i.png": "", "c": ""}, "page.md", {
        "[x](a.md#-pic)": OK, "[x](a.md#pic)": OK, "[x](a.md#img-pic)": OK, "[x](a.md#-pic-1)": OK, "[x](a.md#-pic-2)": BROKEN, "[x](a.md#table-)": OK, "[x](a.md#table)": OK,
        "[x](a.md#--d)": OK, "[x](a.md#---d)": BROKEN, "[x](a.md#in-a-x)": OK, "[x](a.md#in--x)": BROKEN,
    }),
    site("labels of equations", {"conf.py": "extensions = ['myst_parser']\nmyst_enable_extensions = ['dollarmath']\n"}, "page.md", {
        "$$ y $$ (eq1)": OK, "$$\nz\n$$ (eq2)": OK, "```{math}\n:label: eq3\nx\n```": OK, "`$$ y $$ (eq4) `\n\n    $$ y $$ (eq5)": OK,
        "[](#eq1)": OK, "[](#eq2)": OK, "[](#eq3)": OK, "[](#eq5)": BROKEN, "[](#none)": BROKEN,
    }),
    site("fields of notes", VAULT, "en/page.md", {
        'a: "[[Note one]]"': OK, "b: '[[none]]'": BROKEN, 'c: ["[[Nur hier]]", x]': BROKEN, "d: [[none]]": OK,
        'e: "see [[none]]"': OK, 'f:\n  - "[[Note one#nope]]"': BROKEN, '# "[[other]]"': OK, "---": OK,
    }, "---\n"),
    site("fields of notes of other programs", {".foam/x": "", "a.md": ""}, "page.md",
        {'a: "[[none]]"': OK, "---": OK, "[[none]]": BROKEN}, "---\n"),
    site("wiki links without a vault", {"a.md": "# A b\n", "b.md": "[[a]] [[page]] [[A]]\n"}, "page.md", {
        "[[a]]": OK, "[[a#A b]]": OK, "[[none]]": BROKEN, "[[a#none]]": BROKEN, "$[[1]]$": OK,
    }),
    site("a generator without rules", {"docs/.vuepress/config.js": "", "docs/b.md": "# B\n\n## Same -- words\n"}, "docs/page.md", {
        "[x](b.md)": OK, "[x](/b/)": DOUBTFUL, "[x](c.md)": DOUBTFUL, "[x](b.md#nope)": DOUBTFUL, "[x][none]": DOUBTFUL,
        "[x](b.md#same-words)": DOUBTFUL, "[x](b.md#same----wrods)": DOUBTFUL, "[^a]: a\n\n[^a] [^b]": DOUBTFUL,
    }),
    site("a generator without rules has other suffixes", {"docs.json": '{"navigation": 1}'}, "page.mdx", {"[x](/c)": DOUBTFUL}),
    site("a generator without rules shows what the host shows", {"docs.json": '{"navigation": 1}'}, "README.md", {
        "[x](c.md)": DOUBTFUL, "[x][none]": DOUBTFUL,
    }),
    site("a generator without rules includes", {"docs/myst.yml": "", "docs/a.md": ":::{include} ../CHANGES.md\n:::\n"}, "CHANGES.md", {
        "[x](c.md)": DOUBTFUL, "[x][none]": DOUBTFUL,
    }),
    site("a slip or another slug", {"mkdocs.yml": "plugins: [other]\n", "docs/b.md": "# Installing it\n\n## B c\n\n## B c\n"},
        "docs/page.md", {
            "[x](b.md#instaling-it)": BROKEN, "[x](b.md#installing_it)": DOUBTFUL, "[x](b.md#Installing-It)": DOUBTFUL,
            "[x](b.md##installing-it)": BROKEN, "[x](b.md#b-c-1)": DOUBTFUL, "[x](../b_c/)": DOUBTFUL,
        }),
    site("code host", HOST, "docs/page.md", {
        "[x](a.md)": OK, "[x](A.md)": BROKEN, "[x](a)": BROKEN, "[x](/README.md)": OK, "[x](/docs)": OK, "[x](.)": OK,
        "[x](../LICENSE)": OK, "[x](../LICENCE)": BROKEN, "[x](../README.mdr)": BROKEN, "[x](www.x.org)": BROKEN,
        "[x](../../../issues)": OK, "[x](../../main/docs/a.md)": OK, "[x](../README.md?plain=1#L3)": OK, "[x](a.md#L10-L12)": OK, "[x](a.md#a--b)": OK,
        "[x](a.md#same-1)": OK, "[x](a.md#same-2)": BROKEN, "[x](a.md#Same)": DOUBTFUL, "[x](a.md#by-hand)": OK,
        "[x](a.md#user-content-by-hand)": OK, "[x](a.md#日本-é_x)": OK, "![x](x.png)": OK, "![x](y.png)": BROKEN,
        "*[[ip:][port]:]path*": OK, "a [host][port]:] b": OK, "[Task 1][Task 2]": OK, "[one 1][two 1]": BROKEN, "[see [x][none]]": BROKEN, "[![x][none]](a.md)": BROKEN,
        '<img src="x.png">': OK, '<img src="y.png">': BROKEN, "[x][none]": BROKEN, "[[a]]": OK, "[[none]]": OK,
        "[one] and [two one], [`three`]": OK, "x [not one] y": DOUBTFUL, "[1], [ab](a.md), `[not two]`, \\[no], [no]{.x}, ![no]": OK, "[`Code`]": OK,
        "[some]\n[one]": OK, "[one]: a.md\n[two one]: a.md\n[`Three`]: a.md\n[four]: a.md": OK, "[four], [two  one], [Four] and [seventh]\n\n[seventh]: a.md": OK, "[sevnth]": BROKEN,
        "x <!-- a --> [x](#none)": BROKEN, "x <!-- [x](#n%C3%B6) -->": OK,
    }),
]  # fmt: skip


@pytest.mark.parametrize(("files", "page", "front", "links"), SITES)
def test_links_are_judged_by_the_rules_of_their_site(tmp_path, files, page, front, links):
    text, lines = f"{front}# Page\n\n", {}
    for link in links:
        for line in link.split("\n"):
            text += f"{line}\n"
            lines[text.count("\n")] = link
        text += "\n"
    write_tree(tmp_path, {**files, page: text, ".git/HEAD": ""})
    found = records("check", "--strict", "--format", "json", "--no-cache", tmp_path)
    degrees = {lines[record["line"]]: record["type"] for record in found if record["file"].endswith(page)}
    assert {link: degrees.get(link, OK) for link in links} == links


# Words that some configurations must hold, and other files by which sites are found.
WORDS = "# navigation nextra @nuxt/content hexo- plugins @astrojs/starlight myst_parser"
OTHER_NAMES = """
src/SUMMARY.md mkdocs.yaml .vitepress/config.mts .vitepress/config/index.js docusaurus.config.ts astro.config.ts conf.py
_config.yaml _config.toml .foam/x .logseq/x .vuepress/config.ts gatsby-config.js gridsome.config.js rspress.config.ts
eleventy.config.cjs vocs.config.ts .eleventy.js nuxt.config.ts next.config.mjs mint.json docs.json docfx.json book.json
_quarto.yml _bookdown.yml antora.yml myst.yml .gitbook.yaml retype.yml pelicanconf.py zensical.toml _sidebar.md
_Sidebar.md _coverpage.md _navbar.md hugo.yaml hugo.yml hugo.json config/_default/hugo.toml config/_default/config.json
"""
NO_SITE = {
    "headings with images",
    "spaces in a heading, docs/page.md",
    "code host",
    "mathematics of the code host",
    "wiki links without a vault",
    "a workflow named for a site",
}
DEFINED = [
    *[case.values[0] for case in SITES if case.id not in NO_SITE],
    *[{path: WORDS, "content/a.md": ""} for path in OTHER_NAMES.split()],
    *[{path: "baseURL: x", "content/a.md": ""} for path in ("config.yaml", "config.yml")],
    {"config.json": '{"baseURL": ""}', "content/a.md": ""},
    {"config.toml": "baseURL = ''", "content/a.md": ""},
    {"zola.toml": "base_url = ''", "content/a.md": ""},
    {"_toc.yml": "", "_config.yml": ""},
]


@pytest.mark.parametrize("files", DEFINED, ids=lambda files: next(iter(files)))
def test_no_site_is_found_without_something_that_can_define_it(tmp_path, files):
    write_tree(tmp_path, files)
    *found, _ = find_sites(Repository(str(tmp_path)))
    assert found and all(defines_a_site(tmp_path / site.root) for site in found)


@pytest.mark.parametrize(
    ("slug", "text", "expected"),
    [
        (slugs.github, "What's `new` in हिन्दी, 日本語 & ไทย?", "whats-new-in-हिन्दी-日本語--ไทย"),
        (slugs.hugo, "Snake_case -- हिन्दी é", "snake_case----हनद-é"),
        (slugs.hugo_ascii, "Café 日本", "cafe-"),
        (slugs.blackfriday, "A -- b: c", "a-b-c"),
        (slugs.kramdown, "12. Do ^& it now", "do--it-now"),
        (slugs.python_markdown, "Was ist’s – Größe?", "was-ists-große".replace("ß", "")),
        (slugs.python_markdown_unicode, "Größe: 日本", "größe-日本"),
        (slugs.pymdown("lower"), "Größe: x y", "größe-x-y"),
        (slugs.mdit, "1.2 Über `x`—y", "_1-2-uber-x-—y"),
        (slugs.mdit, "(a) b!", "a-b"),
        (slugs.mdbook, "A  b, c-d_e", "a--b-c-d_e"),
        (slugs.zola, "What's new_in É?", "what-s-new-in-e"),
        (slugs.docutils, "1. Größe a", "groe-a"),
        (slugs.gitlab, " A -- b ", "a-b"),
        (slugs.gitlab, "2024", "anchor-2024"),
        (slugs.vault, "A: [b]  C", "a b c"),
    ],
)
def test_slugs(slug, text, expected):
    assert slug(text) == expected


def test_configurations_are_read_as_far_as_they_are_literals():
    files = {
        "a.ts": """import x, { other as o } from './lib' // { a: 1 }
        const more = { 'b-c': ["d", `e`] } as const
        const title = `t ${x}`
        export default defineConfig({ ...more, title, x, n: 1 + 2, deep: { on: true, f() { return { no: 1 } }, z: 'z' } })
        """,
        "lib.ts": "export default () => ({ from: 'lib' })",
    }
    value = scripts.Script("a.ts", files.get).exported
    assert value["b-c"] == ["d", "e"] and value["deep"] == {"on": True, "f": literals.UNREAD, "z": "z"}
    assert value["title"] is value["n"] is literals.UNREAD and "no" not in value
    assert value["x"] == {"from": "lib"}
    assert literals.yaml("a: !ENV X\nb: !!python/name:p.q\nc: 1")["c"] == 1 and literals.yaml("a: [") == {}


N = 100_000
NEST = "[" * N


@pytest.mark.long
@pytest.mark.parametrize(
    ("path", "text"),
    [
        ("book.toml", "a = " + NEST),
        ("mkdocs.yml", "a: " + NEST),
        (".vitepress/config.ts", "export default " + "{a:" * N),
        (".vitepress/config.ts", "export default " + "(" * N),
        (".vitepress/config.ts", "export default { a: f(" + NEST),
        (".vitepress/config.ts", "".join(f"const a{n} = [a{n + 1}, a{n + 1}]\n" for n in range(60)) + "export default a0"),
        (".vitepress/config.ts", "\n" * N + "export default x"),
        (".vitepress/config.ts", r"export default { rewrites: { ':a*': '\\g<9>/:b', ':c/:d*': ':a', ':e/:e': ':e' } }"),
        ("docusaurus.config.js", "module.exports = { presets: [ } ]"),
        ("docusaurus.config.js", "module.exports = { presets: [['classic', { docs: { path: '.' } }]] }"),
        ("astro.config.mjs", "// @astrojs/starlight\nexport default " + NEST),
        ("hugo.toml", ".".join("a" * 600) + " = 1"),
        ("hugo.yaml", "params: &a\n  x: *a"),
        ("hugo.json", NEST),
        ("conf.py", "import myst_parser\nx = a" + "()" * 2 * N),
        ("conf.py", "import myst_parser\nx = " + "-" * N + "1"),
    ],
    ids=lambda value: value[:30],
)  # fmt: skip
def test_hostile_configurations_are_read_in_time(tmp_path, path, text):
    files = {"tsconfig.json": "{" * N, "versions.json": NEST, "content/a.md": "[a](#zzz)\n", ".git/HEAD": ""}
    write_tree(tmp_path, {**files, path: text})
    command = [sys.executable, "-m", "docmap", "check", "--strict", "--no-cache", str(tmp_path)]
    result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert (result.returncode, result.stdout.count("#zzz")) == (1, 1)


@pytest.mark.long
def test_files_that_include_each_other_in_a_chain(tmp_path):
    chain = {f"src/{n}.md": f"{{{{#include {n + 1}.md}}}}\n\n# Heading {n}\n" for n in range(2000)}
    summary = "- [a](0.md)\n- [b](b.md)\n"
    page = "[a](0.md#heading-9) [a](0.md#heading-1999) [a](0.md#none)\n"
    write_tree(
        tmp_path, {"book.toml": "", "src/SUMMARY.md": summary, "src/b.md": page, ".git/HEAD": "", **chain}
    )
    found = records("check", "--strict", "--format", "json", "--no-cache", tmp_path)
    assert [(record["type"], record["target"]) for record in found] == [
        (DOUBTFUL, "0.md#heading-1999"), (DOUBTFUL, "0.md#none"),
    ]  # fmt: skip

// The grid of thumbnails. Only the rows in sight are in the document.

const overscan = 2; // rows above and below
const printed = 600; // files at most

// open is called with the number of a file among those that are shown.
function makeGrid(grid, open) {
    let files = [];
    let columns = 1;
    let rowHeight = 1;
    let width = 0; // for which it is arranged
    let active = 0; // the card that the keyboard is on
    const rows = new Map();

    function makeRow(index) {
        const row = make("div", "row");
        row.setAttribute("role", "row");
        row.setAttribute("aria-rowindex", index + 1);
        row.style.transform = `translateY(${index * rowHeight}px)`;
        for (let i = index * columns; i < Math.min((index + 1) * columns, files.length); i++) {
            const cell = make("div");
            cell.setAttribute("role", "gridcell");
            cell.setAttribute("aria-colindex", i - index * columns + 1);
            const card = makeCard(files[i]);
            card.tabIndex = i === active ? 0 : -1;
            card.dataset.index = i;
            cell.append(card);
            row.append(cell);
        }
        return row;
    }

    function keepRows(wanted) {
        for (const [index, row] of rows) {
            if (!wanted.has(index)) {
                row.remove();
                rows.delete(index);
            }
        }
        for (const index of wanted) {
            if (!rows.has(index)) {
                const row = makeRow(index);
                rows.set(index, row);
                // Readers go through the document in its order.
                const after = [...grid.children].find((other) => other.getAttribute("aria-rowindex") > index + 1);
                grid.insertBefore(row, after || null);
            }
        }
    }

    function showRows() {
        const top = grid.getBoundingClientRect().top;
        const last = Math.ceil(files.length / columns) - 1;
        const from = Math.max(0, Math.floor(-top / rowHeight) - overscan);
        const to = Math.min(last, Math.floor((innerHeight - top) / rowHeight) + overscan);
        const wanted = new Set();
        for (let index = from; index <= to; index++)
            wanted.add(index);
        if (last >= 0)
            wanted.add(Math.floor(active / columns)); // which may have the focus
        keepRows(wanted);
    }

    // Columns by the width, the height of a row by its content.
    function arrange() {
        keepRows(new Set());
        width = grid.clientWidth;
        const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
        columns = Math.max(2, Math.floor((width / rem + 1) / 11.5));
        grid.style.setProperty("--columns", columns);
        grid.setAttribute("aria-colcount", columns);
        grid.setAttribute("aria-rowcount", Math.ceil(files.length / columns));
        if (files.length > 0) {
            keepRows(new Set([0]));
            rowHeight = rows.get(0).getBoundingClientRect().height;
        }
        grid.style.height = `${Math.ceil(files.length / columns) * rowHeight}px`;
        showRows();
    }

    function cardAt(index) {
        return grid.querySelector(`[data-index="${index}"]`);
    }

    function activate(index) {
        const before = cardAt(active);
        if (before)
            before.tabIndex = -1;
        active = Math.max(0, Math.min(index, files.length - 1));
        showRows();
        const card = cardAt(active);
        if (card)
            card.tabIndex = 0;
        return card;
    }

    function focus(index) {
        const card = activate(index);
        card?.focus({ preventScroll: true });
        card?.scrollIntoView({ block: "nearest" });
    }

    function indexAfter(event) {
        const page = columns * Math.max(1, Math.floor(innerHeight / rowHeight) - 1);
        const rowStart = active - active % columns;
        switch (event.key) {
        case "ArrowRight": return active + 1;
        case "ArrowLeft": return active - 1;
        case "ArrowDown": return active + columns < files.length ? active + columns : active;
        case "ArrowUp": return active >= columns ? active - columns : active;
        case "PageDown": return active + page;
        case "PageUp": return active - page;
        case "Home": return event.ctrlKey ? 0 : rowStart;
        case "End": return event.ctrlKey ? files.length - 1 : rowStart + columns - 1;
        default: return -1;
        }
    }

    grid.addEventListener("keydown", (event) => {
        const isPlain = !event.altKey && !event.metaKey && !event.shiftKey;
        const known = /^(Arrow(Right|Left|Up|Down)|Page(Up|Down)|Home|End)$/.test(event.key);
        if (!isPlain || !known)
            return;
        event.preventDefault();
        focus(indexAfter(event));
    });
    grid.addEventListener("click", (event) => {
        const card = event.target.closest(".card");
        if (!card)
            return;
        activate(Number(card.dataset.index));
        open(active);
    });
    addEventListener("scroll", showRows, { passive: true });
    // The large view takes the page's scroll bar away for a while.
    new ResizeObserver(() => requestAnimationFrame(() => {
        if (grid.clientWidth !== width && !document.querySelector("dialog[open]"))
            arrange();
    })).observe(grid);
    addEventListener("beforeprint", () => {
        const count = Math.ceil(Math.min(files.length, printed) / columns);
        keepRows(new Set(Array.from({ length: count }, (_, index) => index)));
        for (const image of grid.querySelectorAll("img"))
            image.loading = "eager";
    });
    addEventListener("afterprint", showRows);

    return {
        show(shown) {
            files = shown;
            active = 0;
            arrange();
        },
        focus,
    };
}

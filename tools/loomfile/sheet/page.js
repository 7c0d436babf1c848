// Joins the controls, the grid and the large view.

// Called with the rows by the script of the data, or below when the data is inside the page.
function loomfileSheet(rows, about = {}) {
    const files = prepareFiles(rows);
    const sorted = makeSorter(files);
    let state = readAddress();
    let shown = [];
    let isOpenedHere = false; // so that going back closes it

    const grid = makeGrid(find("grid"), (index) => openFile(index, true));
    const viewer = makeViewer(find("viewer"), (step) => openFile(indexOfOpen() + step, false), afterClosing);

    const indexOfOpen = () => shown.findIndex((file) => file.path === state.open);

    function openFile(index, isNewPlace) {
        if (index < 0 || index >= shown.length)
            return;
        state.open = shown[index].path;
        writeAddress(state, isNewPlace);
        isOpenedHere ||= isNewPlace;
        viewer.show(shown[index], index, shown.length);
    }

    function afterClosing() {
        const index = indexOfOpen();
        if (index >= 0)
            grid.focus(index);
        if (state.open === "")
            return;
        state.open = "";
        if (isOpenedHere)
            history.back();
        else
            writeAddress(state, false);
        isOpenedHere = false;
    }

    function fillChoices(select, all, choices) {
        select.replaceChildren(new Option(all, ""), ...choices.map(({ id, text }) => new Option(text, id)));
        for (const option of select.options)
            option.dataset.text = option.text;
    }

    function showCounts(counts) {
        for (const radio of find("status").querySelectorAll("input"))
            radio.nextElementSibling.querySelector("b").textContent = numbers.format(counts.status.get(radio.value) || 0);
        for (const name of ["format", "size"]) {
            for (const option of find(name).options) {
                if (option.value !== "")
                    option.text = `${option.dataset.text} (${numbers.format(counts[name].get(option.value) || 0)})`;
            }
        }
    }

    function showControls() {
        if (find("search").value !== state.q)
            find("search").value = state.q;
        for (const name of ["format", "size", "sort"])
            find(name).value = state[name];
        for (const radio of find("status").querySelectorAll("input"))
            radio.checked = radio.value === state.status;
        find("direction").setAttribute("aria-pressed", state.down !== "");
    }

    function update() {
        const selection = selectFiles(sorted(state.sort, state.down !== ""), state);
        shown = selection.shown;
        showControls();
        showCounts(selection.counts);
        grid.show(shown);
        find("nothing").hidden = shown.length > 0;
        find("count").textContent =
            shown.length === files.length ? countOf(files.length, "file")
                : `${numbers.format(shown.length)} of ${countOf(files.length, "file")}`;
    }

    function showOpen() {
        const file = files.find((one) => one.path === state.open);
        if (file)
            viewer.show(file, indexOfOpen(), shown.length);
        else if (viewer.isOpen())
            viewer.hide();
    }

    let writing = 0;
    function change(changes) {
        state = { ...state, ...changes };
        update();
        scrollTo(0, 0);
        clearTimeout(writing); // browsers take a few addresses a second
        writing = setTimeout(() => writeAddress(state, false), 200);
    }

    function followAddress() {
        isOpenedHere = Boolean(history.state?.isOpened);
        const before = state;
        state = readAddress();
        if (Object.keys(everything).some((key) => key !== "open" && state[key] !== before[key]))
            update();
        showOpen();
    }

    const choiceOf = (text) => ({ id: text, text });
    fillChoices(find("format"), "All formats", [...new Set(files.map((file) => file.format))].sort(collator.compare).map(choiceOf));
    fillChoices(find("size"), "All sizes", sizeClasses);
    find("filters").addEventListener("submit", (event) => event.preventDefault());
    find("search").addEventListener("input", () => change({ q: find("search").value }));
    for (const name of ["format", "size", "sort"])
        find(name).addEventListener("change", () => change({ [name]: find(name).value }));
    find("status").addEventListener("change", (event) => change({ status: event.target.value }));
    find("direction").addEventListener("click", () => change({ down: state.down === "" ? "1" : "" }));
    find("clear").addEventListener("click", () => {
        change({ q: "", status: "", format: "", size: "" });
        find("search").focus();
    });
    find("search").addEventListener("keydown", (event) => {
        if (event.key === "ArrowDown" || event.key === "Enter" || (event.key === "Escape" && state.q === "")) {
            event.preventDefault();
            grid.focus(0);
        }
    });
    addEventListener("keydown", (event) => {
        const isTyping = /^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName) && event.target.type !== "radio";
        if (event.key !== "/" || isTyping || viewer.isOpen() || event.ctrlKey || event.metaKey || event.altKey)
            return;
        event.preventDefault();
        find("search").select();
    });
    addEventListener("popstate", followAddress);

    const refused = files.filter((file) => file.refused).length;
    const remarked = files.filter((file) => !file.refused && file.remarks.length > 0).length;
    find("summary").textContent = [countOf(files.length, "file"), bytesOf(files.reduce((sum, file) => sum + file.bytes, 0)),
        remarked > 0 && `${numbers.format(remarked)} with remarks`, refused > 0 && `${numbers.format(refused)} refused`]
        .filter(Boolean).join(" · ");
    find("made").textContent = about.made ? `Made ${dates.format(new Date(about.made * 1000))} by loomfile ${about.version}` : "";
    update();
    showOpen();
    document.documentElement.dataset.ready = "1";
}

addEventListener("DOMContentLoaded", () => {
    const inside = find("files");
    if (inside) {
        const data = JSON.parse(inside.textContent);
        loomfileSheet(data.files, data.about);
    } else if (!document.documentElement.dataset.ready) {
        find("problem").hidden = false;
        find("problem").textContent = `${document.querySelector("script[src]")?.getAttribute("src")} cannot be loaded. The folder with the pictures belongs beside this page.`;
    }
});

// One design at large, with what is known of it.

// A pixel of the picture is a whole number of the screen's, also where the screen's are finer than CSS's.
const wholePixel = () => Math.max(1, Math.round(devicePixelRatio)) / devicePixelRatio;

function factsOf(file) {
    const facts = [["Format", file.format]];
    if (!file.refused) {
        facts.push(["Size", sizeOf(file) + " pixels"], ["Kind", file.kind]);
        if (file.colours)
            facts.push(["Colours", numbers.format(file.colours)]);
    }
    facts.push(["File size", bytesOf(file.bytes)], ["Changed", dates.format(new Date(file.modified * 1000))]);
    return facts.concat(Object.entries(file.facts || {}));
}

// move is called with -1 or 1, closed when the view has been closed.
function makeViewer(dialog, move, closed) {
    const stage = find("stage");
    const image = find("picture");
    let zoom = 0; // screen pixels a pixel, 0 = as fits
    let shownFile = null;

    // Pixels of the picture for one of the design. Large designs have been reduced, small ones may have been enlarged.
    const density = () =>
        Math.min(image.naturalWidth / shownFile.width, image.naturalHeight / shownFile.height);

    // At a zoom of 1, a pixel of the screen is one of the design or, where these are not at hand, of the picture.
    const natural = () => ({
        width: image.naturalWidth / Math.max(1, density()),
        height: image.naturalHeight / Math.max(1, density()),
    });

    // Whole numbers when it is enlarged.
    function fitting() {
        const { width, height } = natural();
        const padding = 2 * parseFloat(getComputedStyle(stage).paddingLeft);
        const scale = Math.min((stage.clientWidth - padding) / width, (stage.clientHeight - padding) / height);
        const enlarged = scale / wholePixel();
        return enlarged >= 1 ? Math.floor(enlarged) : enlarged;
    }

    function arrange() {
        if (!dialog.open || !image.naturalWidth)
            return;
        image.style.width = image.style.height = "0"; // no scroll bars while it is measured
        const shown = zoom || fitting();
        const { width, height } = natural();
        image.style.width = `${width * shown * wholePixel()}px`;
        image.style.height = `${height * shown * wholePixel()}px`;
        image.classList.toggle("enlarged", shown >= 1);
        find("percent").textContent = `${Math.round(shown * Math.min(1, density()) * 100)} %`;
        find("fit").setAttribute("aria-pressed", zoom === 0);
        find("whole").setAttribute("aria-pressed", zoom === 1);
        const isMovable = stage.scrollWidth > stage.clientWidth || stage.scrollHeight > stage.clientHeight;
        stage.classList.toggle("movable", isMovable);
        if (isMovable)
            stage.tabIndex = 0; // arrow keys then move the picture
        else
            stage.removeAttribute("tabindex");
    }

    function setZoom(value) {
        const centre = [(stage.scrollLeft + stage.clientWidth / 2) / stage.scrollWidth,
            (stage.scrollTop + stage.clientHeight / 2) / stage.scrollHeight];
        zoom = value;
        arrange();
        stage.scrollTo(centre[0] * stage.scrollWidth - stage.clientWidth / 2,
            centre[1] * stage.scrollHeight - stage.clientHeight / 2);
    }

    function step(direction) {
        const steps = [1 / 16, 1 / 8, 1 / 4, 1 / 2, 1, 2, 3, 4, 6, 8, 12, 16, 24, 32];
        const present = zoom || fitting();
        const next = direction > 0 ? steps.find((one) => one > present) : steps.findLast((one) => one < present);
        if (next)
            setZoom(next);
    }

    function showPicture(file) {
        image.hidden = find("zoom").hidden = !file.thumb;
        find("reason").hidden = Boolean(file.thumb);
        find("reason").textContent = file.thumb ? "" : reasonOf(file);
        find("percent").textContent = "";
        shownFile = file;
        zoom = 0;
        image.removeAttribute("src");
        if (file.thumb) {
            image.alt = `Picture of ${visible(file.name)}`;
            image.src = file.picture || file.thumb;
        }
    }

    function showFacts(file) {
        find("remarks").replaceChildren(...file.remarks.map((remark) =>
            make("li", remark.grave ? "grave" : "", (remark.grave ? "Not as meant: " : "") + visible(remark.text))));
        const facts = factsOf(file).filter(([, text]) => text !== undefined && text !== "");
        find("facts").replaceChildren(...facts.flatMap(([name, text]) => [make("dt", "", name), make("dd", "", text)]));
        find("path").textContent = visible(file.path);
        find("copy").textContent = "Copy path";
        find("copy").onclick = async () => {
            await navigator.clipboard.writeText(file.path);
            find("copy").textContent = "Copied";
        };
    }

    function onKey(event) {
        if (!dialog.open || event.altKey || event.ctrlKey || event.metaKey)
            return;
        const movesPicture = event.target === stage && stage.classList.contains("movable");
        const actions = {
            ArrowLeft: () => move(-1),
            ArrowRight: () => move(1),
            "+": () => step(1),
            "=": () => step(1),
            "-": () => step(-1),
            0: () => setZoom(0),
            1: () => setZoom(1),
        };
        if (!actions[event.key] || (movesPicture && event.key.startsWith("Arrow")))
            return;
        event.preventDefault();
        actions[event.key]();
    }

    function drag(event) {
        if (event.pointerType !== "mouse" || event.button !== 0 || !stage.classList.contains("movable"))
            return;
        const start = { x: event.clientX + stage.scrollLeft, y: event.clientY + stage.scrollTop };
        event.preventDefault();
        stage.setPointerCapture(event.pointerId);
        stage.onpointermove = (moved) => stage.scrollTo(start.x - moved.clientX, start.y - moved.clientY);
        stage.onlostpointercapture = () => { stage.onpointermove = null; };
    }

    image.addEventListener("load", arrange);
    image.addEventListener("error", () => {
        image.hidden = find("zoom").hidden = true;
        find("reason").hidden = false;
        find("reason").textContent = "The picture is not where it was when this page was made.";
    });
    image.addEventListener("dblclick", () => setZoom(zoom === 0 ? 1 : 0));
    document.addEventListener("keydown", onKey); // a button that has just been disabled has lost the focus
    dialog.addEventListener("close", closed);
    stage.addEventListener("pointerdown", drag);
    new ResizeObserver(() => requestAnimationFrame(arrange)).observe(stage);
    find("fit").onclick = () => setZoom(0);
    find("whole").onclick = () => setZoom(1);
    find("larger").onclick = () => step(1);
    find("smaller").onclick = () => step(-1);
    find("previous").onclick = () => move(-1);
    find("next").onclick = () => move(1);
    find("close").onclick = () => dialog.close();

    return {
        // index below 0: it is not among those that are shown
        show(file, index, count) {
            find("name").textContent = find("name").title = visible(file.name);
            find("position").textContent = index < 0 ? "" : `${numbers.format(index + 1)} of ${numbers.format(count)}`;
            find("previous").disabled = index <= 0;
            find("next").disabled = index < 0 || index + 1 >= count;
            showPicture(file);
            showFacts(file);
            if (!dialog.open)
                dialog.showModal();
        },
        hide: () => dialog.close(),
        isOpen: () => dialog.open,
    };
}

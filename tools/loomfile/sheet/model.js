"use strict";
// The files: which of them are shown, in which order, and how that is said in the address.

const sizeClasses = [
    { id: "small", text: "up to 256 pixels", most: 256 },
    { id: "medium", text: "257 to 1024 pixels", most: 1024 },
    { id: "large", text: "1025 to 4096 pixels", most: 4096 },
    { id: "huge", text: "more than 4096 pixels", most: Infinity },
];

const everything = { q: "", status: "", format: "", size: "", sort: "name", down: "", open: "" };

// Small letters without accents, so that "weiss" is found as "Weiß" is written.
const folded = (text) => text.normalize("NFKD").replace(/\p{M}/gu, "").toLowerCase().replaceAll("ß", "ss");

// Adds to the rows what they are searched, filtered and sorted by.
function prepareFiles(rows) {
    for (const file of rows) {
        file.folder = file.path.slice(0, Math.max(0, file.path.length - file.name.length - 1));
        file.format ||= "Not known";
        file.remarks ||= [];
        file.refused = file.status !== 0;
        file.pixels = file.refused ? undefined : file.width * file.height;
        const edge = Math.max(file.width, file.height);
        file.size = file.refused ? "" : sizeClasses.find((one) => edge <= one.most).id;
        const texts = [file.path, file.format, file.reason || "", ...file.remarks.map((remark) => remark.text)];
        file.words = folded(texts.join("\n"));
    }
    return rows;
}

const hasStatus = (file, status) =>
    status === "" || (status === "refused") === file.refused && (status !== "remarks" || file.remarks.length > 0);

// The files of each choice, while the other choices stay as they are, and those that are shown.
function selectFiles(files, wanted) {
    const words = folded(wanted.q).split(/\s+/).filter(Boolean);
    const counts = { status: new Map(), format: new Map(), size: new Map() };
    const count = (map, key) => map.set(key, (map.get(key) || 0) + 1);
    const shown = files.filter((file) => {
        if (!words.every((word) => file.words.includes(word)))
            return false;
        const hasFormat = wanted.format === "" || file.format === wanted.format;
        const hasSize = wanted.size === "" || file.size === wanted.size;
        const isLike = hasStatus(file, wanted.status);
        if (hasFormat && hasSize) {
            for (const status of ["", "opened", "remarks", "refused"]) {
                if (hasStatus(file, status))
                    count(counts.status, status);
            }
        }
        if (hasSize && isLike)
            count(counts.format, file.format);
        if (hasFormat && isLike)
            count(counts.size, file.size);
        return hasFormat && hasSize && isLike;
    });
    return { shown, counts };
}

const collator = new Intl.Collator(undefined, { numeric: true });

// Where each text stands among all; each is compared only once, however many files have it.
function ranks(files, textOf) {
    const texts = [...new Set(files.map(textOf))].sort(collator.compare);
    return new Map(texts.map((text, rank) => [text, rank]));
}

// A function that brings files into an order, each of which is made once.
function makeSorter(files) {
    const names = ranks(files, (file) => file.name);
    const folders = ranks(files, (file) => file.folder);
    for (const file of files)
        file.rank = names.get(file.name) * folders.size + folders.get(file.folder);
    const formats = ranks(files, (file) => file.format);
    const keys = {
        name: (file) => file.rank,
        folder: (file) => folders.get(file.folder),
        format: (file) => formats.get(file.format),
        size: (file) => file.pixels,
        bytes: (file) => file.bytes,
        date: (file) => file.modified,
    };
    const made = new Map();
    return (sort, isDown) => {
        const name = sort + (isDown ? " down" : "");
        if (!made.has(name)) {
            const sign = isDown ? -1 : 1;
            const keyed = files.map((file) => ({ file, key: keys[sort](file) }));
            // What has no key comes last, both ways.
            const compare = (a, b) => (a.key === undefined) - (b.key === undefined) || sign * (a.key - b.key) || 0;
            keyed.sort((a, b) => compare(a, b) || a.file.rank - b.file.rank);
            made.set(name, keyed.map((one) => one.file));
        }
        return made.get(name);
    };
}

// The address says all but what is as it is at first.
function readAddress() {
    const said = new URLSearchParams(location.hash.slice(1));
    const state = Object.fromEntries(Object.keys(everything).map((key) => [key, said.get(key) ?? everything[key]]));
    if (!["name", "folder", "format", "size", "bytes", "date"].includes(state.sort))
        state.sort = everything.sort;
    return state;
}

function writeAddress(state, isNewPlace) {
    const said = new URLSearchParams(Object.entries(state).filter(([key, value]) => value !== everything[key]));
    const fragment = "#" + said;
    if (fragment === (location.hash || "#"))
        return;
    if (isNewPlace)
        history.pushState({ isOpened: true }, "", fragment);
    else
        history.replaceState(history.state, "", fragment);
}

// Elements and texts. What comes from files is text and never markup.

const find = (id) => document.getElementById(id);

function make(tag, className, text) {
    const element = document.createElement(tag);
    if (className)
        element.className = className;
    if (text !== undefined)
        element.textContent = text;
    return element;
}

const numbers = new Intl.NumberFormat("en");
const dates = new Intl.DateTimeFormat(undefined, { dateStyle: "medium", timeStyle: "short" });

const countOf = (count, noun) => `${numbers.format(count)} ${noun}${count === 1 ? "" : "s"}`;

const sizeOf = (file) => `${file.width} × ${file.height}`;

function bytesOf(count) {
    if (count < 1000)
        return countOf(count, "byte");
    const power = Math.min(3, Math.floor(Math.log10(count) / 3));
    const value = count / 1000 ** power;
    return `${value.toFixed(value < 10 ? 1 : 0)} ${["", "kB", "MB", "GB"][power]}`;
}

// Names may hold characters that are not seen or that turn the text around them.
const visible = (text) =>
    text.replace(/[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069]/g, "\ufffd");

function reasonOf(file) {
    const reason = visible(file.reason || "there is no picture of it");
    return reason[0].toUpperCase() + reason.slice(1) + ".";
}

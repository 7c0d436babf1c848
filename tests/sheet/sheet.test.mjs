// Makes sheets with loomfile and opens them in a browser without a window, as a user would from the disk.
//
//     npm ci && node --test
//
// LOOMFILE_BUILD and CHROMIUM say where the program and the browser are, if not where they usually are.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath, pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";

const build = process.env.LOOMFILE_BUILD || fileURLToPath(new URL("../../build/release", import.meta.url));
const folder = fs.mkdtempSync(path.join(os.tmpdir(), "sheet-"));
const archive = path.join(folder, "archive");
const hostile = ["<img src=x onerror=\"document.title='hit'\">.gif", "a\u2028b\u202etxt.gif", "${1}`\\'\".gif"];
const closing = path.join("<", "script><script>document.title='hit'<", "script>.gif"); // </script> in a path
let browser;
let designs; // files that the page shows

const sheet = (...words) => spawnSync(path.resolve(build, "loomfile"), ["sheet", ...words], { cwd: folder, encoding: "utf8" });

before(async () => {
    execFileSync(path.resolve(build, "make-samples"), [archive]);
    const gif = fs.readFileSync(path.join(archive, "motif.gif"));
    fs.mkdirSync(path.dirname(path.join(archive, closing)), { recursive: true });
    for (const name of [...hostile, closing])
        fs.writeFileSync(path.join(archive, name), gif);
    fs.writeFileSync(path.join(archive, "cut.gif"), gif.subarray(0, 20));
    const made = sheet("-r", "archive", "-o", "out.html");
    assert.match(made.stdout, /^out\.html: \d+ files, \d+ refused\n$/);
    designs = Number(made.stdout.match(/(\d+) files/)[1]);
    browser = await puppeteer.launch({
        executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
        args: process.getuid() === 0 ? ["--no-sandbox"] : [],
    });
});

after(async () => {
    await browser?.close();
    fs.rmSync(folder, { recursive: true });
});

// Opens a page and hands it over when it has shown its files; nothing it does may be an error or leave the disk.
async function withPage(file, fragment, use) {
    const page = await browser.newPage();
    const problems = [];
    page.on("console", (message) => problems.push(message.text()));
    page.on("pageerror", (error) => problems.push(error.message));
    page.on("request", (request) => /^(file|data):/.test(request.url()) || problems.push(request.url()));
    page.on("requestfailed", (request) => problems.push(request.url()));
    await page.setViewport({ width: 1280, height: 860 });
    await page.goto(pathToFileURL(path.join(folder, file)) + fragment);
    await page.waitForSelector("html[data-ready]");
    await use(page, (selector) => page.$eval(selector, (element) => element.textContent));
    assert.deepEqual(problems, []);
    await page.close();
}

const names = (page) => page.$$eval(".card .name", (all) => all.map((one) => one.textContent));
const fragment = (page) => new URLSearchParams(new URL(page.url()).hash.slice(1));

test("shows every file, but only those in sight are in the document", async () => {
    await withPage("out.html", "", async (page, text) => {
        assert.equal(await text("#count"), `${designs} files`);
        assert.ok((await names(page)).length < designs);
        await page.waitForFunction(() => [...document.querySelectorAll(".card img")].slice(0, 6)
            .every((image) => image.complete && image.naturalWidth > 0));
        await page.evaluate(() => scrollTo(0, document.body.scrollHeight));
        await page.waitForFunction((last) => document.querySelector(`[data-index="${last}"]`), {}, designs - 1);
    });
});

test("names are text, whatever they are", async () => {
    for (const file of ["out.html", "inside.html"]) {
        if (file === "inside.html")
            assert.equal(sheet("archive/cut.gif", path.join("archive", closing), ...hostile.map((name) => `archive/${name}`),
                "-o", file, "--one-file", "--title", "<b>@DATA@ & \"").status > 0, true);
        await withPage(file, "#sort=bytes", async (page) => {
            assert.notEqual(await page.title(), "hit");
            for (const word of ["onerror", "${1}", "script><script>", "txt.gif"]) {
                await page.$eval("#search", (search, value) => {
                    search.value = value;
                    search.dispatchEvent(new Event("input"));
                }, word);
                assert.ok((await names(page)).length > 0, word);
            }
            assert.equal(await page.$$eval("[onerror], #grid script, main b", (all) => all.length), 0);
        });
    }
    assert.ok(!fs.existsSync(path.join(folder, "inside_files")));
});

test("searches, filters and sorts, and keeps that in the address", async () => {
    await withPage("out.html", "", async (page, text) => {
        await page.type("#search", "JC5 motif");
        assert.ok((await names(page)).every((name) => /motif/.test(name)));
        const found = await text("#count");
        await page.waitForFunction(() => location.hash.includes("q=JC5"));
        await page.reload();
        await page.waitForSelector("html[data-ready]");
        assert.equal(await text("#count"), found);

        await page.click("#search", { count: 3 });
        await page.keyboard.press("Backspace");
        await page.select("#format", "GIF");
        await page.select("#size", "small");
        assert.ok((await names(page)).includes("motif.gif"));
        await page.click("#status [value=refused] + span");
        assert.deepEqual(await names(page), []);
        await page.click("#clear");
        await page.select("#sort", "bytes");
        await page.click("#direction");
        const sizes = (await fs.promises.readdir(archive)).map((name) => fs.statSync(path.join(archive, name)))
            .filter((one) => one.isFile()).map((one) => one.size);
        const [largest] = await names(page);
        assert.equal(fs.statSync(path.join(archive, largest)).size, Math.max(...sizes));
    });
    await withPage("out.html", "#status=remarks", async (page) => {
        assert.ok((await names(page)).includes("motif.pcx"));
        assert.equal((await page.$$(".card:not(:has(.mark))")).length, 0);
    });
    await withPage("out.html", "#status=refused", async (page, text) => {
        assert.ok((await names(page)).includes("cut.gif"));
        assert.match(await text(".card .why"), /\w{3}.*\.$/);
    });
});

test("opens a design at large", async () => {
    await withPage("out.html", "#q=motif-1bit", async (page, text) => {
        await page.click(".card");
        await page.waitForFunction(() => document.getElementById("picture").naturalWidth > 0);
        assert.deepEqual(await page.$eval("#picture", (one) => [one.naturalWidth, one.naturalHeight]), [400, 400]);
        assert.match(await text("#facts"), /Size400 × 400 pixels/);
        assert.equal(await text("#path"), "archive/motif-1bit.bmp");
        await page.keyboard.press("1");
        assert.equal(await text("#percent"), "100 %");
        assert.equal(await page.$eval("#picture", (one) => one.getBoundingClientRect().width), 400);
        await page.keyboard.press("+");
        assert.equal(await text("#percent"), "200 %");
        assert.equal(await page.$eval("#picture", (one) => getComputedStyle(one).imageRendering), "pixelated");

        await page.keyboard.press("ArrowRight");
        const second = fragment(page).get("open");
        assert.notEqual(second, "archive/motif-1bit.bmp");
        await page.keyboard.press("Escape");
        await page.waitForFunction(() => !document.getElementById("viewer").open && !location.hash.includes("open"));
        assert.equal(await page.evaluate(() => document.activeElement.title), second);
    });
    // A link to a design, and the way back to it.
    await withPage("out.html", "#open=archive%2Fmotif.gif", async (page, text) => {
        assert.equal(await text("#name"), "motif.gif");
        await page.keyboard.press("Escape");
        await page.waitForFunction(() => location.hash === "");
        await page.click(".card");
        await page.goBack();
        await page.waitForFunction(() => !document.getElementById("viewer").open);
    });
});

test("is used with the keyboard alone", async () => {
    await withPage("out.html", "", async (page, text) => {
        const index = () => page.evaluate(() => Number(document.activeElement.dataset.index));
        await page.keyboard.press("/");
        await page.keyboard.type("motif");
        await page.keyboard.press("Enter");
        assert.equal(await index(), 0);
        const columns = Number(await page.$eval("#grid", (grid) => grid.getAttribute("aria-colcount")));
        for (const [key, expected] of [["ArrowRight", 1], ["ArrowDown", 1 + columns], ["End", 2 * columns - 1],
            ["Home", columns], ["ArrowUp", 0], ["ArrowLeft", 0]]) {
            await page.keyboard.press(key);
            assert.equal(await index(), expected, key);
        }
        await page.keyboard.down("Control");
        await page.keyboard.press("End");
        await page.keyboard.up("Control");
        assert.equal(await index(), parseInt(await text("#count"), 10) - 1);
        assert.equal(await page.$$eval(".card[tabindex='0']", (all) => all.length), 1);
        await page.keyboard.press("Enter");
        assert.equal(await page.$eval("#viewer", (viewer) => viewer.open), true);
    });
});

test("can be read in both schemes", async () => {
    await withPage("out.html", "#status=refused", async (page) => {
        for (const value of ["light", "dark"]) {
            await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value }]);
            const contrasts = await page.evaluate(() => {
                const light = (colour) => colour.match(/\d+(\.\d+)?/g).slice(0, 3).map((one) => one / 255)
                    .map((one) => one <= 0.04045 ? one / 12.92 : ((one + 0.055) / 1.055) ** 2.4)
                    .reduce((sum, one, i) => sum + one * [0.2126, 0.7152, 0.0722][i], 0.05);
                const ground = (element) => {
                    const colour = getComputedStyle(element).backgroundColor;
                    return colour === "rgba(0, 0, 0, 0)" ? ground(element.parentElement) : colour;
                };
                return ["#summary", ".name", ".meta", ".why", "#search", "#format", "#status b", "#status :checked + span"]
                    .map((one) => document.querySelector(one))
                    .map((one) => [light(getComputedStyle(one).color), light(ground(one))].sort((a, b) => b - a))
                    .map(([high, low]) => high / low);
            });
            assert.ok(Math.min(...contrasts) >= 4.5, `${value}: ${contrasts}`);
        }
    });
});

test("takes ten thousand files", async () => {
    const data = path.join(folder, "out_files/files.js");
    let rows;
    Function("loomfileSheet", fs.readFileSync(data, "utf8"))((given) => { rows = given; });
    const many = Array.from({ length: 10000 }, (_, i) => ({ ...rows[i % rows.length], name: `${i}.gif`, path: `${i % 97}/${i}.gif` }));
    fs.writeFileSync(data, `loomfileSheet(${JSON.stringify(many)}, {});`);
    await withPage("out.html", "", async (page, text) => {
        const loaded = await page.evaluate(() => performance.now());
        await page.type("#search", "7");
        const filtered = await page.evaluate(() => performance.now());
        assert.match(await text("#count"), / of 10,000 files$/);
        assert.ok(await page.evaluate(() => document.querySelectorAll("*").length) < 2000);
        console.log(`10,000 files: ${Math.round(loaded)} ms to load, ${Math.round(filtered - loaded)} ms to filter`);
        assert.ok(filtered < 10000); // a second on a quiet machine
    });
});

test("says so when its folder is gone", async () => {
    fs.mkdirSync(path.join(folder, "moved"));
    fs.copyFileSync(path.join(folder, "out.html"), path.join(folder, "moved/out.html"));
    const page = await browser.newPage();
    await page.goto(pathToFileURL(path.join(folder, "moved/out.html")));
    assert.match(await page.$eval("#problem", (one) => one.textContent), /^out_files\/files\.js cannot be loaded/);
});

// node screenshot.mjs OUT.html OUT.png: how a page looks in a browser, for README.
import path from "node:path";
import { pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";

const [page, picture] = process.argv.slice(2);
const browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [],
});
const tab = await browser.newPage();
await tab.setViewport({ width: 1120, height: 720 });
await tab.goto(`${pathToFileURL(path.resolve(page))}#sort=format`);
await tab.waitForNetworkIdle();
await tab.screenshot({ path: picture });
await browser.close();

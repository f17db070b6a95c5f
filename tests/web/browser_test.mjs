// The server's page in a real browser, against a real server: what a person does in it, and what must
// not be lost or shown meanwhile. Needs chromium and web/node_modules (scripts/setup browser,
// scripts/web); without them it ends with status 77, which ctest takes for skipped.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { after, afterEach, before, test } from "node:test";

const root = new URL("../..", import.meta.url).pathname;
const { VORLAN_SERVER, VORLAN_PROGRAM } = process.env;
const kBrowser = "/usr/bin/chromium";
const kPlaywright = join(root, "web/node_modules/playwright-core");
if (!existsSync(kBrowser) || !existsSync(kPlaywright)) {
  console.log("skipped: chromium or web/node_modules is missing");
  process.exit(77);
}
const { chromium } = createRequire(import.meta.url)(kPlaywright);
const kPatience = 120_000; // for a busy machine

// Market split: a point is found at once, the best one in hours.
function hardModel() {
  const rows = 6;
  const columns = 50;
  let seed = 7;
  const number = () => (seed = (seed * 48271) % 2147483647) % 100;
  const lines = ["NAME HARD", "ROWS", " N COST"];
  for (let i = 0; i < rows; ++i) lines.push(` E R${i}`);
  lines.push("COLUMNS");
  for (let j = 0; j < columns; ++j) for (let i = 0; i < rows; ++i) lines.push(` X${j} R${i} ${number()}`);
  for (let i = 0; i < rows; ++i) lines.push(` P${i} COST 1 R${i} 1`, ` N${i} COST 1 R${i} -1`);
  lines.push("RHS");
  for (let i = 0; i < rows; ++i) lines.push(` RHS R${i} 1237`);
  lines.push("BOUNDS");
  for (let j = 0; j < columns; ++j) lines.push(` BV BND X${j}`);
  return `${lines.join("\n")}\nENDATA\n`;
}

const kSmall = readFileSync(join(root, "examples/workshop.mps"));
const folder = mkdtempSync(join(tmpdir(), "vorlan-browser-test-"));
const data = join(folder, "data");
let server, base, token, browser;

async function startServer(port) {
  server = spawn(VORLAN_SERVER, ["--data", data, "--port", port, "--slots", "1", "--worker", VORLAN_PROGRAM],
    { stdio: ["ignore", "pipe", "ignore"] });
  for await (const line of createInterface(server.stdout)) {
    if (line.startsWith("url: ")) base = line.slice(5);
    if (line.startsWith("token: ")) token = line.slice(7);
    if (base && token) return;
  }
}

async function stopServer() {
  const ended = new Promise((resolve) => server.once("exit", resolve));
  server.kill("SIGKILL");
  await ended;
}

function newToken(...words) {
  return execFileSync(VORLAN_SERVER, ["token", "add", ...words, "--data", data], { encoding: "utf8" }).split(/\s+/)[1];
}

async function api(method, path, body) {
  const answer = await fetch(base + path, { method, body, headers: { Authorization: `Bearer ${token}` } });
  return answer.ok ? answer : assert.fail(`${method} ${path}: ${answer.status}`);
}

const submit = async (name, model) => (await (await api("POST", `/v1/jobs?name=${name}`, model)).json()).id;

async function deleteAll() {
  const { jobs } = await (await api("GET", "/v1/jobs?limit=1000")).json();
  for (const job of jobs) await api("DELETE", `/v1/jobs/${job.id}`);
}

/** A page of a window of its own, in which any complaint of the browser is a failure. */
async function open(options = {}) {
  const context = options.context ?? (await browser.newContext({ viewport: { width: 1200, height: 800 }, ...options }));
  const page = await context.newPage();
  page.setDefaultTimeout(kPatience);
  page.complaints = [];
  page.on("pageerror", (error) => page.complaints.push(error.message));
  page.on("console", (message) => {
    if (/Content Security Policy/.test(message.text())) page.complaints.push(message.text());
  });
  await page.goto(`${base}/`);
  return page;
}

async function signIn(page, words = token) {
  await page.getByLabel("Access token").fill(words);
  await page.keyboard.press("Enter");
}

async function close(page) {
  assert.deepEqual(page.complaints, []);
  await page.context().close();
}

const shownLog = (page) => page.locator("pre.log").evaluate((log) => log.textContent);
const isDrawn = (page) => page.locator(".uplot canvas").first().evaluate((canvas) => {
  const points = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
  return points.some((value) => value !== 0);
});

before(async () => {
  await startServer("0");
  browser = await chromium.launch({ executablePath: kBrowser, args: ["--no-sandbox"] });
});

after(async () => {
  await browser?.close();
  await deleteAll().catch(() => {});
  await stopServer();
  rmSync(folder, { recursive: true, force: true });
});

// Whatever a test leaves behind, if it fails too, the next one begins without jobs.
afterEach(deleteAll);

test("a wrong token is refused, a good one stays in the tab and in no address", async () => {
  const page = await open();
  const addresses = [];
  page.on("request", (request) => addresses.push(request.url()));
  await signIn(page, "vln_wrong");
  await page.getByText("does not know this token").waitFor();
  await signIn(page);
  await page.getByText("No jobs yet.").waitFor();
  assert.equal(await page.evaluate(() => sessionStorage.getItem("token")), token);
  assert.deepEqual(await page.evaluate(() => [localStorage.length, document.cookie]), [0, ""]);
  await page.reload();
  await page.getByText("No jobs yet.").waitFor();
  assert.ok(addresses.every((address) => !address.includes(token.slice(4))));
  await page.getByRole("button", { name: "Sign out" }).click();
  await page.getByLabel("Access token").waitFor();
  assert.equal(await page.evaluate(() => sessionStorage.getItem("token")), null);
  await close(page);
});

test("a dropped file is solved, and its results can be saved, with the keyboard alone after that", async () => {
  const page = await open();
  await signIn(page);
  await page.getByText("No jobs yet.").waitFor();
  const dropped = await page.evaluateHandle((text) => {
    const transfer = new DataTransfer();
    transfer.items.add(new File([text], "workshop.mps"));
    return transfer;
  }, kSmall.toString());
  await page.dispatchEvent("body", "drop", { dataTransfer: dropped });
  await page.getByRole("button", { name: "Submit" }).focus();
  await page.keyboard.press("Enter");
  await page.getByRole("heading", { name: "workshop.mps done" }).waitFor();
  const id = page.url().split("/").pop();
  await page.getByRole("button", { name: "Download solution.json" }).focus();
  const [saved] = await Promise.all([page.waitForEvent("download"), page.keyboard.press("Enter")]);
  assert.equal(saved.suggestedFilename(), "workshop.mps.solution.json");
  const sent = Buffer.from(await (await api("GET", `/v1/jobs/${id}/solution.json`)).arrayBuffer());
  assert.deepEqual(readFileSync(await saved.path()), sent);
  await page.getByRole("button", { name: "Delete" }).focus();
  await page.keyboard.press("Enter");
  await page.getByRole("dialog").waitFor();
  await page.keyboard.press("Escape"); // nothing is deleted by a question
  await page.getByRole("dialog").waitFor({ state: "hidden" });
  await page.getByRole("heading", { name: "workshop.mps done" }).waitFor();
  await page.getByRole("button", { name: "Delete" }).click();
  await page.getByRole("dialog").getByRole("button", { name: "Delete" }).click();
  await page.getByText("No jobs yet.").waitFor();
  await close(page);
});

test("a file that is chosen is held against the limits before it is sent", async () => {
  const page = await open();
  await signIn(page, newToken("guest", "submit", "1", "bytes=100", "time=60"));
  await page.getByText("files up to 100 B").waitFor();
  await page.setInputFiles("input[type=file]", { name: "big.mps", mimeType: "text/plain", buffer: Buffer.alloc(101) });
  await page.getByText("at most 100 B are taken").waitFor();
  assert.ok(await page.getByRole("button", { name: "Submit" }).isDisabled());
  await page.getByLabel("Time limit").fill("61");
  await page.getByText("60 seconds at most").waitFor();
  await close(page);
});

test("a solve is watched, reloaded without gap or double, and stopped with its results", async () => {
  const page = await open();
  await signIn(page);
  await page.getByText("No jobs yet.").waitFor();
  const id = await submit("hard.mps", hardModel());
  const next = await submit("next.mps", hardModel());
  await page.getByRole("link", { name: "next.mps" }).click();
  await page.getByText("Place 1 in the queue.").waitFor();
  await page.goBack();
  await page.getByRole("link", { name: "hard.mps" }).click();
  await page.locator(".uplot").first().waitFor();
  assert.ok(await isDrawn(page));
  await page.getByText("50", { exact: true }).waitFor(); // integer variables, from the log
  const table = page.locator("details tbody tr");
  const points = await table.count();
  await page.waitForFunction((count) => document.querySelectorAll("details tbody tr").length > count, points);
  await page.reload();
  await page.locator(".uplot").first().waitFor();
  await page.getByRole("button", { name: "Stop and keep results" }).click();
  await page.getByRole("heading", { name: "hard.mps ended early" }).waitFor();
  await page.getByRole("button", { name: "Download result" }).waitFor();
  const log = await (await api("GET", `/v1/jobs/${id}/log`)).text();
  await page.waitForFunction((length) => document.querySelector("pre.log").textContent.length >= length, log.length);
  assert.equal(await shownLog(page), log);
  await page.goto(`${base}/#/jobs/${next}`);
  await page.getByRole("button", { name: "Cancel" }).click();
  await page.getByRole("button", { name: "Cancel the job" }).click();
  await page.getByRole("heading", { name: "next.mps cancelled" }).waitFor();
  await close(page);
});

test("a solve by the interior-point method has its course by iterations", async () => {
  const page = await open();
  await signIn(page);
  await page.getByText("No jobs yet.").waitFor();
  const id = await submit("portfolio.ptf", readFileSync(join(root, "examples/portfolio.ptf")));
  await page.goto(`${base}/#/jobs/${id}`);
  await page.getByRole("heading", { name: "portfolio.ptf done" }).waitFor();
  await page.getByRole("figure", { name: "Primal and dual objective" }).waitFor();
  assert.ok(await isDrawn(page));
  const { progress } = await (await api("GET", `/v1/jobs/${id}`)).json();
  await page.getByText("The values as a table").click();
  const rows = await page.locator("details tbody tr").allTextContents();
  assert.ok(rows.length > progress.iterations); // the summary repeats the last one
  const headings = await page.locator("details th").allTextContents();
  assert.deepEqual(headings, ["Time", "Iteration", "Primal objective", "Dual objective", "Gap"]);
  await close(page);
});

test("the server falls and comes back: the page says so, and then has all of the log, once", async () => {
  const page = await open();
  await signIn(page);
  const id = await submit("fall.mps", hardModel());
  await page.getByRole("link", { name: "fall.mps" }).click();
  await page.locator(".uplot").first().waitFor();
  const port = new URL(base).port;
  await stopServer();
  await page.getByText("What is shown may be old.").waitFor();
  await startServer(port);
  await page.getByRole("button", { name: "Try now" }).click({ timeout: 5000 }).catch(() => {}); // or it has tried
  await page.getByText("What is shown may be old.").waitFor({ state: "detached" });
  await page.getByRole("button", { name: "Stop and keep results" }).click();
  await page.getByRole("heading", { name: "fall.mps ended early" }).waitFor();
  const log = await (await api("GET", `/v1/jobs/${id}/log`)).text();
  await page.waitForFunction((length) => document.querySelector("pre.log").textContent.length >= length, log.length);
  assert.equal(await shownLog(page), log);
  await close(page);
});

test("a token that is revoked meanwhile leads back to signing in, and from there to the same job", async () => {
  const page = await open();
  const other = newToken("admin", "admin", "1");
  const id = await submit("kept.mps", hardModel());
  await signIn(page, other);
  await page.getByRole("link", { name: "kept.mps" }).click();
  await page.getByText("The solve is running.").waitFor();
  const log = await page.locator("pre.log").elementHandle();
  execFileSync(VORLAN_SERVER, ["token", "revoke", other.split("_")[1], "--data", data]);
  await page.getByRole("button", { name: "Stop and keep results" }).click();
  await page.getByText("expired or was revoked").waitFor();
  assert.equal(await page.evaluate(() => sessionStorage.getItem("token")), null);
  await log.dispatchEvent("scroll"); // of a box that was leaving the page
  await signIn(page);
  await page.getByRole("heading", { name: "kept.mps" }).waitFor();
  assert.ok(page.url().endsWith(id));
  await close(page);
});

test("seven tabs of one browser all live", async () => {
  const context = await browser.newContext();
  const pages = [];
  for (let count = 0; count < 7; ++count) {
    const page = await open({ context });
    await signIn(page);
    await page.getByText("No jobs yet.").waitFor();
    pages.push(page);
  }
  await submit("seen.mps", kSmall);
  for (const page of pages) await page.getByRole("row", { name: /done seen\.mps/ }).waitFor();
  for (const page of pages) assert.deepEqual(page.complaints, []);
  await context.close();
});

test("names are text, whatever they hold", async () => {
  const page = await open();
  await signIn(page);
  await submit(encodeURIComponent("<img src=x onerror=alert(1)>.mps"), kSmall);
  await page.getByRole("link", { name: "<img src=x onerror=alert(1)>.mps" }).click();
  await page.getByRole("heading", { name: "<img src=x" }).waitFor();
  assert.equal(await page.locator("img").count(), 0);
  await close(page);
});

/** The nodes of the accessibility tree that a screen reader meets. */
async function accessibilityTree(page) {
  const wire = await page.context().newCDPSession(page);
  const { nodes } = await wire.send("Accessibility.getFullAXTree");
  await wire.detach();
  return nodes.filter((node) => !node.ignored).map((node) => ({
    role: node.role?.value ?? "",
    name: (node.name?.value ?? "").trim(),
    properties: Object.fromEntries((node.properties ?? []).map((each) => [each.name, each.value.value])),
  }));
}

const kNamedRoles = /^(button|link|textbox|searchbox|spinbutton|combobox|checkbox|radio|tab|slider|image|img|table|dialog|figure)$/;

/** What each view must have: a name on all that can be used, one main part, one first heading, levels without gaps. */
async function checkTree(page, view) {
  const nodes = await accessibilityTree(page);
  const nameless = nodes.filter((node) => (kNamedRoles.test(node.role) || (node.properties.focusable && !/^(RootWebArea|main)$/.test(node.role)))
    && node.name === "" && node.role !== "generic");
  assert.deepEqual(nameless, [], view);
  assert.equal(nodes.filter((node) => node.role === "main").length, 1, view);
  const levels = nodes.filter((node) => node.role === "heading").map((node) => node.properties.level);
  assert.equal(levels.filter((level) => level === 1).length, 1, `${view}: ${levels}`);
  levels.forEach((level, i) => assert.ok(i === 0 || level <= levels[i - 1] + 1, `${view}: ${levels}`));
  return nodes;
}

test("a screen reader finds a name on everything that can be used, in each view", async () => {
  const page = await open();
  await page.getByLabel("Access token").waitFor();
  await checkTree(page, "signing in");
  await signIn(page);
  await page.getByText("No jobs yet.").waitFor();
  await checkTree(page, "an empty list");
  const id = await submit("hard.mps", hardModel());
  await page.getByText("hard.mps").first().waitFor();
  const listed = await checkTree(page, "a list");
  assert.ok(listed.some((node) => node.role === "link" && node.name.includes("hard.mps")));
  await page.goto(`${base}/#/jobs/${id}`);
  await page.getByText("The solve is running.").waitFor();
  await page.locator(".uplot canvas").first().waitFor();
  const shown = await checkTree(page, "a job");
  assert.ok(shown.some((node) => node.role === "status" || node.properties.live === "polite"), "changes are read out");
  await close(page);
});

test("a phone's width is enough for each view", async () => {
  const page = await open({ viewport: { width: 360, height: 700 }, isMobile: true, hasTouch: true });
  const fits = async () => assert.equal(await page.evaluate(() => document.documentElement.scrollWidth - innerWidth), 0);
  await fits();
  await signIn(page);
  const id = await submit(`${"long-name-".repeat(20)}.mps`, hardModel());
  await page.getByRole("link", { name: "long-name-" }).waitFor();
  await fits();
  await page.goto(`${base}/#/jobs/${id}`);
  await page.locator(".uplot").first().waitFor();
  await fits();
  await close(page);
});

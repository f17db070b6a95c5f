// The page of the solver service: signs in by a token, which is kept for this tab only, lists the
// jobs as they change, and follows the log of one of them.
"use strict";

const at = (id) => document.getElementById(id);
const jobs = new Map();
let token = sessionStorage.getItem("token") || "";
let shown = null;
let following = null;

function say(trouble) {
  at("trouble").textContent = trouble || "";
}

function signOut(trouble) {
  sessionStorage.removeItem("token");
  token = "";
  if (following) following.abort();
  for (const id of ["jobs", "job", "leave"]) at(id).hidden = true;
  at("sign-in").hidden = false;
  at("who").textContent = "";
  say(trouble);
  at("token").focus();
}

async function ask(path, options = {}) {
  const headers = { ...options.headers, Authorization: `Bearer ${token}` };
  const answer = await fetch(path, { ...options, headers });
  if (answer.ok) return answer;
  if (answer.status === 401) signOut("The token is not valid, or no longer.");
  const problem = await answer.json().catch(() => ({}));
  throw new Error(problem.detail || `The server answered with ${answer.status}.`);
}

// Reads server-sent events by fetch(), because an EventSource cannot send a token. Connections that
// break are taken up again behind the last event; the function returns once `onEvent` returns true.
async function follow(path, position, signal, onEvent) {
  for (let pause = 500; ; pause = Math.min(2 * pause, 10000)) {
    try {
      const headers = position === "" ? {} : { "Last-Event-ID": position };
      const reader = (await ask(path, { headers, signal })).body.pipeThrough(new TextDecoderStream()).getReader();
      let text = "";
      for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
        pause = 500;
        const events = (text + piece.value).split("\n\n");
        text = events.pop();
        for (const event of events) {
          const fields = Object.fromEntries(event.split("\n").map((line) => {
            const colon = line.indexOf(": ");
            return [line.slice(0, colon), line.slice(colon + 2)];
          }));
          if (fields.data && onEvent(fields.event, JSON.parse(fields.data))) return;
          if (fields.id) position = fields.id;
        }
      }
    } catch (error) {
      if (signal.aborted || !token) return;
      say(`${error.message} Trying again.`);
    }
    await new Promise((resume) => setTimeout(resume, pause));
    if (signal.aborted || !token) return;
    say("");
  }
}

function button(text, action) {
  const made = document.createElement("button");
  made.type = "button";
  made.textContent = text;
  made.onclick = () => Promise.resolve(action()).catch((error) => say(error.message));
  return made;
}

const wish = (job, method, verb) => async () => ask(`/v1/jobs/${job.id}${verb}`, { method });

function actions(job) {
  const list = [button("Show", () => show(job.id))];
  if (job.state !== "ended") {
    list.push(button("Stop", wish(job, "POST", "/stop")), button("Cancel", wish(job, "POST", "/cancel")));
  } else {
    list.push(button("Delete", wish(job, "DELETE", "")));
  }
  return list;
}

function words(job) {
  const reason = job.outcome === "failed" ? ` (${job.response})` : "";
  return (job.outcome ? `${job.state}, ${job.outcome}` : job.state) + reason;
}

function cell(...content) {
  const made = document.createElement("td");
  made.append(...content);
  return made;
}

function draw() {
  const newest = [...jobs.values()].sort((a, b) => (a.id < b.id ? 1 : -1));
  at("rows").replaceChildren(...newest.map((job) => {
    const row = document.createElement("tr");
    if (job.id === shown) row.setAttribute("aria-current", "true");
    const seconds = job.solve_seconds === null ? "" : job.solve_seconds.toFixed(2);
    row.append(cell(job.name || job.id), cell(words(job)), cell(seconds), cell(...actions(job)));
    return row;
  }));
  at("none").hidden = jobs.size > 0;
}

async function download(job, file) {
  const content = await (await ask(`/v1/jobs/${job.id}/${file.name}`)).blob();
  const link = document.createElement("a");
  link.href = URL.createObjectURL(content);
  link.download = `${job.name || job.id}.${file.name}`;
  link.click();
  URL.revokeObjectURL(link.href);
}

function drawJob(job) {
  at("job-name").textContent = job.name || job.id;
  const place = job.queue_place ? `, place ${job.queue_place} in the queue` : "";
  at("job-state").textContent = words(job) + place + (job.message ? `: ${job.message}` : "");
  at("files").replaceChildren(...job.results.map((file) => button(file.name, () => download(job, file))));
}

function show(id) {
  if (following) following.abort();
  following = new AbortController();
  shown = id;
  const log = at("log");
  log.textContent = "";
  let attempt = 0;
  at("job").hidden = false;
  draw();
  follow(`/v1/jobs/${id}/events`, "", following.signal, (kind, data) => {
    if (kind === "job") drawJob(data);
    if (kind === "log") {
      const isAtEnd = log.scrollTop + log.clientHeight >= log.scrollHeight - 8;
      if (data.attempt !== attempt) log.textContent = "";
      attempt = data.attempt;
      log.append(data.text);
      if (isAtEnd) log.scrollTop = log.scrollHeight;
    }
    if (kind === "deleted") at("job").hidden = true;
    return kind === "end" || kind === "deleted";
  });
}

async function list() {
  const page = await (await ask("/v1/jobs?limit=200")).json();
  jobs.clear();
  for (const job of page.jobs) jobs.set(job.id, job);
  draw();
  return String(page.seq);
}

async function start() {
  const me = await (await ask("/v1/me")).json();
  sessionStorage.setItem("token", token);
  at("who").textContent = `${me.owner} (${me.role})`;
  at("sign-in").hidden = true;
  at("leave").hidden = at("jobs").hidden = false;
  at("submit").hidden = me.role === "read";
  say("");
  follow("/v1/events", await list(), new AbortController().signal, (kind, data) => {
    if (kind === "reset") list();
    if (kind === "job") jobs.set(data.id, data);
    if (kind === "deleted") jobs.delete(data.id);
    draw();
    return !token;
  });
}

at("sign-in").onsubmit = (event) => {
  event.preventDefault();
  token = at("token").value.trim();
  at("token").value = "";
  start().catch((error) => say(error.message));
};

at("submit").onsubmit = async (event) => {
  event.preventDefault();
  const file = at("file").files[0];
  const query = new URLSearchParams({ name: file.name });
  if (at("limit").value) query.set("time_limit", at("limit").value);
  try {
    const headers = { "Idempotency-Key": crypto.randomUUID ? crypto.randomUUID() : `${Date.now()}-${Math.random()}` };
    const job = await (await ask(`/v1/jobs?${query}`, { method: "POST", body: file, headers })).json();
    at("file").value = "";
    show(job.id);
  } catch (error) {
    say(error.message);
  }
};

at("leave").onclick = () => signOut("");

if (token) start().catch((error) => say(error.message));
else signOut("");

// Bundles the page into a folder, dist/ unless another is named. Every version is pinned, so that
// the same sources give the same bytes on every machine.
//
// The page's rules without a screen (src/model) stay a file of their own, model.js, which app.js
// imports: so the tests run the very file that is served, and need nothing but node.
import { copyFile, mkdir, readFile, writeFile } from "node:fs/promises";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const output = resolve(process.argv[2] ?? join(here, "dist"));

const modelApart = {
  name: "model-apart",
  setup({ onResolve }) {
    onResolve({ filter: /\/model$/ }, () => ({ path: "./model.js", external: true }));
  },
};

async function writeLicenses() {
  const parts = await Promise.all(
    ["preact", "uplot"].map(async (name) => {
      const text = await readFile(join(here, "node_modules", name, "LICENSE"), "utf8");
      return `${name}\n\n${text.trim()}\n`;
    }),
  );
  const heading = "The page holds code of these packages.\n\n";
  await writeFile(join(output, "licenses.txt"), heading + parts.join("\n"));
}

await mkdir(output, { recursive: true });
await build({
  absWorkingDir: here,
  entryPoints: { app: "src/app.tsx", model: "src/model/index.ts", page: "src/page.css" },
  outdir: output,
  bundle: true,
  minify: true,
  format: "esm",
  target: ["es2022", "chrome109", "firefox115", "safari16"],
  jsx: "automatic",
  jsxImportSource: "preact",
  legalComments: "none",
  charset: "utf8",
  plugins: [modelApart],
  logLevel: "warning",
});
await copyFile(join(here, "src/index.html"), join(output, "index.html"));
await writeLicenses();

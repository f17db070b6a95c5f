// What the page knows without a screen and without a server: pure functions and small collectors,
// bundled into model.js and tested there by node alone.
export * from "./events";
export * from "./format";
export * from "./job";
export * from "./limits";
export * from "./log";
export * from "./progress";
export * from "./route";

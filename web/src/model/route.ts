// The page's own addresses stand behind the #. A token never does.

export type Route = { page: "list" } | { page: "job"; id: string };

export function routeOf(hash: string): Route {
  const id = /^#\/jobs\/([0-9a-f]{1,64})$/.exec(hash)?.[1];
  return id === undefined ? { page: "list" } : { page: "job", id };
}

export const kListAddress = "#/";

export function jobAddress(id: string): string {
  return `#/jobs/${id}`;
}

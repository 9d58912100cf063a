// The frame of the page, and which of its views the address shows.
import { useEffect, useLayoutEffect, useState } from "preact/hooks";
import { Inspector } from "./inspector/inspector";
import { Map } from "./reference/map";
import { known } from "./reference/names";
import { Reference } from "./reference/reference";
import { SearchBox } from "./reference/search_box";
import { ThemeButton } from "./parts/theme";
import { BadAddress, type View, viewOf } from "./route";

type Shown = { view: View; complaint?: string };

function shownAt(address: string): Shown {
  try {
    return { view: viewOf(address, known) };
  } catch (error) {
    if (!(error instanceof BadAddress)) throw error;
    return { view: { page: "inspect" }, complaint: error.message };
  }
}

const titles = { inspect: "Inspector", reference: "Reference", map: "Map" };

export function App() {
  const [shown, setShown] = useState(() => shownAt(location.hash));
  useLayoutEffect(() => {
    const follow = () => setShown(shownAt(location.hash));
    addEventListener("hashchange", follow);
    return () => removeEventListener("hashchange", follow);
  }, []);
  const { view, complaint } = shown;
  const title = view.page === "reference" && view.name ? view.name : titles[view.page];
  useEffect(() => {
    document.title = `${title} · tarn explorer`;
  }, [title]);
  return (
    <>
      <a class="skip" href="#main" onClick={(event) => {
        event.preventDefault();
        document.getElementById("main")!.focus();
      }}>Skip to the content</a>
      <header class="top">
        <a class="brand" href="#inspect">
          <svg viewBox="0 0 30 20" width="30" height="20" aria-hidden="true">
            <rect x="1" y="3" width="7" height="14" rx="1.5" fill="currentColor" />
            <rect x="11" y="4" width="5" height="12" rx="1" fill="none" stroke="currentColor"
              stroke-width="2" />
            <path d="M19 16h10" stroke="currentColor" stroke-width="2.4" />
            <path d="M19 10h10M19 4h6" stroke="currentColor" stroke-width="2.4" opacity=".55" />
          </svg>
          <span>tarn <b>explorer</b></span>
        </a>
        <nav aria-label="Views">
          {(["inspect", "reference", "map"] as const).map((page) => (
            <a href={`#${page}`} aria-current={view.page === page ? "page" : undefined}>
              {titles[page]}
            </a>
          ))}
        </nav>
        <SearchBox />
        <ThemeButton />
      </header>
      <main id="main" tabIndex={-1}>
        {complaint && <p class="complaint" role="alert">{complaint}</p>}
        <div hidden={view.page !== "inspect"}>
          <Inspector view={view.page === "inspect" ? view : undefined} />
        </div>
        {view.page === "reference" && <Reference name={view.name} />}
        {view.page === "map" && <Map />}
      </main>
    </>
  );
}

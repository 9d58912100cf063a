// Starts the page, or in a worker the jobs of the page.
import { render } from "preact";
import { App } from "./app";
import { restoreTheme } from "./parts/theme";
import { serve } from "./work";
import "./style/base.css";
import "./style/frame.css";
import "./style/reference.css";
import "./style/inspector.css";
import "./style/panes.css";
import "./style/print.css";

if (typeof document === "undefined") {
  serve();
} else {
  restoreTheme();
  render(<App />, document.getElementById("page")!);
}

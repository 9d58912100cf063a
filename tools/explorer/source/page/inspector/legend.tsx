// What the marks on bytes say.
export function Legend() {
  return (
    <p class="legend small" aria-label="Marks">
      <b class="byte tag h1 first"><i>2</i>10</b> tag of field 2
      <b class="byte length h3"><i>len</i>04</b> length
      <b class="byte value h3">6e</b> value
    </p>
  );
}

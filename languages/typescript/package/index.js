export * from "./Network.js";
export * from "./Tarn.js";
